// entry.cpp: what surrounds the kernels: the set-up entry points, the constants, and what stands behind slots without a
// kernel.
#include <cstdio>

#include "frame/kernels.h"

const uint64_t kdzk_constants[KDZK_CONSTANT_COUNT] = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16, 0, 0};

void kdzk_init_sharedlib_dydi(void *) {}
KDZK_SAME_AS(kdzk_init_sharedlib_dydi) void kdzk_set_trace_level_dydi(void *ignored);

uint64_t kdzk_stub(kdzk_vec *, const kdzk_vec *, kdzk_exec_ctx *) { return KDZK_STATUS_OK; }

void kdzk_invalid_dispatch(void) {
    puts("Dispatched to unimplemented function!");
    KDZK_FAIL_ASSERTION("0");
}
