// kdzkc_x86_dynp.cpp: emits the dynp predicate kernels.
#include "frame/kernels.h"
#include "frame/main_body.h"
#include "frame/selective_body.h"
#include "predicates/dynp.h"

#define KDZK_DEFINE_DYNP(cls, width, form) KDZK_DEFINE_PREDICATES(cls, width, form, kdzk::Dynp)

KDZK_DYNP_KERNELS(KDZK_DEFINE_DYNP, plain)
KDZK_DYNP_KERNELS(KDZK_DEFINE_DYNP, tz)
