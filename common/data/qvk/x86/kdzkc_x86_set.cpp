// kdzkc_x86_set.cpp: emits the kernels that test codes against a set.
#include "decode/set.h"
#include "frame/kernels.h"

#define KDZK_DEFINE_SET(width)                                                                                         \
    [[gnu::noinline]] uint64_t KDZK_SELECTIVE(set, dict, width, plain) KDZK_ONE_KEY_PARAMETERS {                       \
        return kdzk::set_selective_body<width>(dst, src, key, ctx);                                                    \
    }                                                                                                                  \
    uint64_t KDZK_KERNEL(set, dict, width, plain) KDZK_ONE_KEY_PARAMETERS {                                            \
        return kdzk::set_main_body<width, KDZK_SELECTIVE(set, dict, width, plain)>(dst, src, key, ctx);                \
    }
KDZK_DECODE_WIDTHS(KDZK_DEFINE_SET)
