#include "kdzkc_x86_unpack.h"

KDZK_DECODE_TO_16(KDZK_DEFINE_UNPACK)
