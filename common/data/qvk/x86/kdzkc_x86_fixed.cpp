// kdzkc_x86_fixed.cpp: emits the fixed predicate kernels.
#include "frame/kernels.h"
#include "frame/main_body.h"
#include "frame/selective_body.h"
#include "predicates/fixed.h"

#define KDZK_DEFINE_FIXED(cls, width, form) KDZK_DEFINE_PREDICATES(cls, width, form, kdzk::Fixed)

KDZK_FIXED_KERNELS(KDZK_DEFINE_FIXED, plain)
KDZK_FIXED_KERNELS(KDZK_DEFINE_FIXED, tz)
