#include "memory_loops.h"

#include <immintrin.h>

#include <bit>

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

void and_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words) {
    for (size_t i = 0; i < words; ++i)
        dst[i] = a[i] & b[i];
}

uint64_t and_and_count_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words) {
    uint64_t ones = 0;
    for (size_t i = 0; i < words; ++i)
        ones += uint64_t(std::popcount(dst[i] = a[i] & b[i]));
    return ones;
}

uint64_t count_words(const uint64_t *words, size_t count) {
    uint64_t ones = 0;
    for (size_t i = 0; i < count; ++i)
        ones += uint64_t(std::popcount(words[i]));
    return ones;
}

size_t list_rows_bit_by_bit(const uint64_t *words, uint32_t rows, uint32_t *out) {
    size_t listed = 0;
    for (uint32_t row = 0; row < rows; ++row)
        if (words[row / 64] >> row % 64 & 1)
            out[listed++] = row;
    return listed;
}

uint32_t compare_bytes(const uint8_t *codes, uint8_t key, uint64_t *res_bv, uint32_t rows) {
    uint32_t hits = 0;
    for (uint32_t word = 0; word < rows / 64; ++word) {
        uint64_t bits = 0;
        for (uint32_t i = 0; i < 64; ++i)
            bits |= uint64_t{codes[word * 64 + i] == key} << i;
        res_bv[word] = bits;
        hits += uint32_t(std::popcount(bits));
    }
    return hits;
}

uint64_t dependent_adds(uint64_t count) {
    uint64_t sum = 1;
    for (uint64_t i = 0; i < count; i += 16)
#pragma GCC unroll 16
        for (int step = 0; step < 16; ++step)
            __asm__ volatile("addq %0, %0" : "+r"(sum));  // of registers: some processors fold constants away
    return sum;
}
