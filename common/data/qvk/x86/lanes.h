// lanes.h: the vector vocabulary of this processor level (SSSE3, SSE4.1, SSE4.2, POPCNT). Kernels are written in these
// words; intrinsics appear here and nowhere else, so that another level is another vocabulary under the same kernels.
//
// A vector is sixteen bytes seen as lanes of so many bits. The lane width is part of the type, so that lanes of two
// widths never meet by mistake. Comparisons give all ones in a lane that passes and zero in one that doesn't.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace kdzk {

inline constexpr int kVectorBytes = 16;

template <int kBits>
struct Lanes {
    __m128i raw;
};

// How far ahead of what is being read the caches are asked for more.
inline constexpr uint32_t kPrefetchBytes = 640, kCacheLineBytes = 64;

// Asks for the cache line at an address, which need not be readable.
inline void prefetch(const void *at) { _mm_prefetch(static_cast<const char *>(at), _MM_HINT_T0); }

template <int kBits>
Lanes<kBits> load_lanes(const void *at) {
    return {_mm_loadu_si128(static_cast<const __m128i *>(at))};
}

// Stores to an address that is a multiple of sixteen.
template <int kBits>
void store_aligned(void *at, Lanes<kBits> lanes) {
    _mm_store_si128(static_cast<__m128i *>(at), lanes.raw);
}

// The same value in every lane.
inline Lanes<8> spread(uint8_t value) { return {_mm_set1_epi8(char(value))}; }

// Bitwise words, also on a general register, so that one text serves whole vectors and the units at their ends.
template <int kBits>
Lanes<kBits> both(Lanes<kBits> a, Lanes<kBits> b) {
    return {_mm_and_si128(a.raw, b.raw)};
}
template <int kBits>
Lanes<kBits> either(Lanes<kBits> a, Lanes<kBits> b) {
    return {_mm_or_si128(a.raw, b.raw)};
}
template <int kBits>
Lanes<kBits> differing(Lanes<kBits> a, Lanes<kBits> b) {
    return {_mm_xor_si128(a.raw, b.raw)};
}
// b without a's bits.
template <int kBits>
Lanes<kBits> without(Lanes<kBits> a, Lanes<kBits> b) {
    return {_mm_andnot_si128(a.raw, b.raw)};
}
template <int kBits>
Lanes<kBits> complement(Lanes<kBits> a) {
    return {_mm_xor_si128(a.raw, _mm_set1_epi8(-1))};
}
inline uint64_t both(uint64_t a, uint64_t b) { return a & b; }
inline uint64_t either(uint64_t a, uint64_t b) { return a | b; }
inline uint64_t differing(uint64_t a, uint64_t b) { return a ^ b; }
inline uint64_t without(uint64_t a, uint64_t b) { return ~a & b; }
inline uint64_t complement(uint64_t a) { return ~a; }

inline Lanes<8> equal(Lanes<8> a, Lanes<8> b) { return {_mm_cmpeq_epi8(a.raw, b.raw)}; }

// a - b, wrapping.
inline Lanes<8> minus(Lanes<8> a, Lanes<8> b) { return {_mm_sub_epi8(a.raw, b.raw)}; }

// a > b, signed.
inline Lanes<8> greater(Lanes<8> a, Lanes<8> b) { return {_mm_cmpgt_epi8(a.raw, b.raw)}; }

// One bit a byte lane, the lane's top bit, lane 0 lowest.
inline uint32_t top_bits(Lanes<8> lanes) { return uint32_t(_mm_movemask_epi8(lanes.raw)); }

inline uint64_t low_word(Lanes<64> lanes) { return uint64_t(_mm_cvtsi128_si64(lanes.raw)); }
inline uint64_t high_word(Lanes<64> lanes) { return uint64_t(_mm_extract_epi64(lanes.raw, 1)); }

}  // namespace kdzk
