// The dictionary predicate kernels.
#include "frame/kernels.h"
#include "frame/main_body.h"
#include "frame/selective_body.h"
#include "predicates/dict.h"

#define KDZK_DEFINE_DICT(cls, width, form) KDZK_DEFINE_PREDICATES(cls, width, form, kdzk::Dict)
KDZK_DICT_KERNELS(KDZK_DEFINE_DICT)
