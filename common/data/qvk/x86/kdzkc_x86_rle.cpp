// kdzkc_x86_rle.cpp: emits the kernels that turn bits of runs into bits of rows.
#include "frame/kernels.h"
#include "rle/burst.h"

#define KDZK_DEFINE_BURST(width, form, Runs, after_failure)                                                            \
    uint64_t KDZK_KERNEL(burst, rle, width, form) KDZK_VEC_PARAMETERS {                                                \
        return kdzk::burst<kdzk::Runs, kdzk::AfterFailure::after_failure>(dst, src, ctx);                              \
    }
KDZK_DEFINE_BURST(8, plain, RunLengths<uint8_t>, give_up)
KDZK_DEFINE_BURST(8, cla, RunStarts, give_up)
KDZK_DEFINE_BURST(16, plain, RunLengths<uint16_t>, go_on)
KDZK_DEFINE_BURST(16, cla, RunStarts, go_on)
