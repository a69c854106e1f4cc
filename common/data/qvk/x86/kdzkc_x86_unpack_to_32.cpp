#include "kdzkc_x86_unpack.h"

KDZK_DECODE_TO_32(KDZK_DEFINE_UNPACK)
