#include "memory_loops.h"

#include <immintrin.h>

uint64_t read_all(const void *from, size_t bytes) {
    const __m128i *at = static_cast<const __m128i *>(from), *end = at + bytes / sizeof(__m128i);
    __m128i sums[8] = {};
    for (; at != end; at += 8)
#pragma GCC unroll 8
        for (int i = 0; i < 8; ++i)
            sums[i] = _mm_or_si128(sums[i], _mm_loadu_si128(at + i));
    for (int i = 1; i < 8; ++i)
        sums[0] = _mm_or_si128(sums[0], sums[i]);
    return uint64_t(_mm_cvtsi128_si64(sums[0]));
}

uint64_t dependent_adds(uint64_t count) {
    uint64_t sum = 1;
    for (uint64_t i = 0; i < count; i += 16)
#pragma GCC unroll 16
        for (int step = 0; step < 16; ++step)
            __asm__ volatile("addq %0, %0" : "+r"(sum));  // of registers: some processors fold constants away
    return sum;
}
