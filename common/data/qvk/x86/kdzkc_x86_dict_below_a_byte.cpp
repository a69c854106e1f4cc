#include "kdzkc_x86_dict.h"
#include "predicates/dict_1bit.h"

KDZK_DICT_BELOW_A_BYTE(KDZK_DEFINE_DICT, plain)
KDZK_DICT_BELOW_A_BYTE(KDZK_DEFINE_DICT, null)
