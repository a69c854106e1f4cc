// kdzkc_x86_unpack.h: emits the unpacking kernel of a width.
#pragma once

#include "decode/unpack.h"
#include "frame/kernels.h"

#define KDZK_DEFINE_UNPACK(width)                                                                                      \
    uint64_t KDZK_KERNEL(decode_unpack, dict, width, plain) KDZK_VEC_PARAMETERS {                                      \
        return kdzk::decode_unpack<width>(dst, src, ctx);                                                              \
    }
