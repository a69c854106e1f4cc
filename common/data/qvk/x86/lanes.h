// lanes.h: the vector vocabulary of this processor level (SSSE3, SSE4.1, SSE4.2, POPCNT). Kernels are written in these
// words; intrinsics appear here and nowhere else, so that another level is another vocabulary under the same kernels.
//
// A vector is sixteen bytes seen as lanes of so many bits. The lane width is part of the type, so that lanes of two
// widths never meet by mistake. Comparisons give all ones in a lane that passes and zero in one that doesn't.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace kdzk {

inline constexpr int kVectorBytes = 16;

template <int kBits>
struct Lanes {
    __m128i raw;
};

// The integer that fills a lane.
template <int kBits>
using UnsignedOf =
    std::conditional_t<kBits == 8, uint8_t,
                       std::conditional_t<kBits == 16, uint16_t, std::conditional_t<kBits == 32, uint32_t, uint64_t>>>;

// How far ahead of what is read, or written, the caches are asked for more. 640 bytes pass too fast to cover a way to
// memory; 2 KiB do where memory is slow, 4 KiB where it is fast. 8 KiB gain little more, and what is asked for behind a
// vector's end is lost. In the first cache the distance makes no difference. docs/performance.md has figures.
inline constexpr uint32_t kPrefetchBytes = 4096, kCacheLineBytes = 64;

// Asks for the cache line at an address, which need not be readable. Always inlined: g++ takes a call of it for one
// without effect and drops it.
[[gnu::always_inline]] inline void prefetch(const void *at) {
    _mm_prefetch(static_cast<const char *>(at), _MM_HINT_T0);
}

template <int kBits>
Lanes<kBits> load_lanes(const void *at) {
    return {_mm_loadu_si128(static_cast<const __m128i *>(at))};
}

// Eight bytes in the low half, zeros in the high one.
template <int kBits>
Lanes<kBits> load_low_half(const void *at) {
    return {_mm_loadl_epi64(static_cast<const __m128i *>(at))};
}

template <int kBits>
void store_low_half(void *at, Lanes<kBits> lanes) {
    _mm_storel_epi64(static_cast<__m128i *>(at), lanes.raw);
}

template <int kBits>
void store_lanes(void *at, Lanes<kBits> lanes) {
    _mm_storeu_si128(static_cast<__m128i *>(at), lanes.raw);
}

// Stores to an address that is a multiple of sixteen.
template <int kBits>
void store_aligned(void *at, Lanes<kBits> lanes) {
    _mm_store_si128(static_cast<__m128i *>(at), lanes.raw);
}

// Stores lanes that general registers will take one by one. Compilers that see as much take each out of the vector,
// which costs two instructions where a load costs one.
template <int kBits>
[[gnu::always_inline]] inline void store_for_scalars(UnsignedOf<kBits> *at, Lanes<kBits> lanes) {
    store_lanes(at, lanes);
    __asm__("" : "+m"(*reinterpret_cast<__m128i_u *>(at)));
}

// The same value in every lane.
inline Lanes<8> spread(uint8_t value) { return {_mm_set1_epi8(char(value))}; }
inline Lanes<16> spread(uint16_t value) { return {_mm_set1_epi16(short(value))}; }
inline Lanes<32> spread(uint32_t value) { return {_mm_set1_epi32(int(value))}; }
inline Lanes<64> spread(uint64_t value) { return {_mm_set1_epi64x(int64_t(value))}; }

// The number of each lane, counted from `first`.
inline Lanes<8> numbers_from(uint8_t first) {
    return {
        _mm_add_epi8(_mm_set1_epi8(char(first)), _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15))};
}

// Four or eight bytes in the first lanes, zero in the others.
inline Lanes<8> first_lanes(uint32_t bytes) { return {_mm_cvtsi32_si128(int(bytes))}; }
inline Lanes<8> first_lanes(uint64_t bytes) { return {_mm_cvtsi64_si128(int64_t(bytes))}; }

// The same bytes seen as lanes of another width.
template <int kTo, int kFrom>
Lanes<kTo> seen_as(Lanes<kFrom> lanes) {
    return {lanes.raw};
}

// Byte i is byte control[i] of `from`, or zero where the control's top bit is set.
template <int kBits>
Lanes<kBits> pick_bytes(Lanes<8> from, Lanes<8> control) {
    return {_mm_shuffle_epi8(from.raw, control.raw)};
}

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
inline Lanes<16> equal(Lanes<16> a, Lanes<16> b) { return {_mm_cmpeq_epi16(a.raw, b.raw)}; }
inline Lanes<32> equal(Lanes<32> a, Lanes<32> b) { return {_mm_cmpeq_epi32(a.raw, b.raw)}; }
inline Lanes<64> equal(Lanes<64> a, Lanes<64> b) { return {_mm_cmpeq_epi64(a.raw, b.raw)}; }

// a > b, signed.
inline Lanes<8> greater(Lanes<8> a, Lanes<8> b) { return {_mm_cmpgt_epi8(a.raw, b.raw)}; }
inline Lanes<16> greater(Lanes<16> a, Lanes<16> b) { return {_mm_cmpgt_epi16(a.raw, b.raw)}; }
inline Lanes<32> greater(Lanes<32> a, Lanes<32> b) { return {_mm_cmpgt_epi32(a.raw, b.raw)}; }
inline Lanes<64> greater(Lanes<64> a, Lanes<64> b) { return {_mm_cmpgt_epi64(a.raw, b.raw)}; }

// The larger and the smaller number, unsigned. Lanes of 64 bits have neither.
inline Lanes<16> larger(Lanes<16> a, Lanes<16> b) { return {_mm_max_epu16(a.raw, b.raw)}; }
inline Lanes<32> larger(Lanes<32> a, Lanes<32> b) { return {_mm_max_epu32(a.raw, b.raw)}; }
inline Lanes<16> smaller(Lanes<16> a, Lanes<16> b) { return {_mm_min_epu16(a.raw, b.raw)}; }
inline Lanes<32> smaller(Lanes<32> a, Lanes<32> b) { return {_mm_min_epu32(a.raw, b.raw)}; }

// a + b, wrapping.
inline Lanes<8> plus(Lanes<8> a, Lanes<8> b) { return {_mm_add_epi8(a.raw, b.raw)}; }
inline Lanes<32> plus(Lanes<32> a, Lanes<32> b) { return {_mm_add_epi32(a.raw, b.raw)}; }
inline Lanes<64> plus(Lanes<64> a, Lanes<64> b) { return {_mm_add_epi64(a.raw, b.raw)}; }

// a - b, wrapping.
inline Lanes<8> minus(Lanes<8> a, Lanes<8> b) { return {_mm_sub_epi8(a.raw, b.raw)}; }
inline Lanes<16> minus(Lanes<16> a, Lanes<16> b) { return {_mm_sub_epi16(a.raw, b.raw)}; }
inline Lanes<32> minus(Lanes<32> a, Lanes<32> b) { return {_mm_sub_epi32(a.raw, b.raw)}; }
inline Lanes<64> minus(Lanes<64> a, Lanes<64> b) { return {_mm_sub_epi64(a.raw, b.raw)}; }

// a - b, or 0 where b is larger, unsigned.
inline Lanes<8> minus_to_zero(Lanes<8> a, Lanes<8> b) { return {_mm_subs_epu8(a.raw, b.raw)}; }
inline Lanes<16> minus_to_zero(Lanes<16> a, Lanes<16> b) { return {_mm_subs_epu16(a.raw, b.raw)}; }
inline Lanes<32> minus_to_zero(Lanes<32> a, Lanes<32> b) { return minus(larger(a, b), b); }

// a * b, the low half.
inline Lanes<16> times(Lanes<16> a, Lanes<16> b) { return {_mm_mullo_epi16(a.raw, b.raw)}; }
inline Lanes<32> times(Lanes<32> a, Lanes<32> b) { return {_mm_mullo_epi32(a.raw, b.raw)}; }

// The high half of a * b, unsigned.
inline Lanes<16> times_high(Lanes<16> a, Lanes<16> b) { return {_mm_mulhi_epu16(a.raw, b.raw)}; }

// Each lane shifted towards its low end, zeros coming in.
template <int kCount>
Lanes<8> shifted_down(Lanes<8> a) {
    return {_mm_and_si128(_mm_srli_epi16(a.raw, kCount), _mm_set1_epi8(char(0xFF >> kCount)))};
}
template <int kCount>
Lanes<16> shifted_down(Lanes<16> a) {
    return {_mm_srli_epi16(a.raw, kCount)};
}
template <int kCount>
Lanes<32> shifted_down(Lanes<32> a) {
    return {_mm_srli_epi32(a.raw, kCount)};
}

// Towards its high end.
template <int kCount>
Lanes<16> shifted_up(Lanes<16> a) {
    return {_mm_slli_epi16(a.raw, kCount)};
}

// By a count that a call knows; one beyond the lane leaves zero.
inline Lanes<32> shifted_down(Lanes<32> a, uint32_t count) {
    return {_mm_srl_epi32(a.raw, _mm_cvtsi32_si128(int(count)))};
}

// Two vectors of numbers in one, a's lanes first, each lane half as wide. A number that doesn't fit becomes the
// largest, or 0 where its top bit is set.
inline Lanes<8> narrow_numbers(Lanes<16> a, Lanes<16> b) { return {_mm_packus_epi16(a.raw, b.raw)}; }
inline Lanes<16> narrow_numbers(Lanes<32> a, Lanes<32> b) { return {_mm_packus_epi32(a.raw, b.raw)}; }

// The lanes of the low or the high half, each twice as wide, zeros on top.
inline Lanes<16> widen_low(Lanes<8> a) { return {_mm_unpacklo_epi8(a.raw, _mm_setzero_si128())}; }
inline Lanes<16> widen_high(Lanes<8> a) { return {_mm_unpackhi_epi8(a.raw, _mm_setzero_si128())}; }
inline Lanes<32> widen_low(Lanes<16> a) { return {_mm_unpacklo_epi16(a.raw, _mm_setzero_si128())}; }
inline Lanes<32> widen_high(Lanes<16> a) { return {_mm_unpackhi_epi16(a.raw, _mm_setzero_si128())}; }
inline Lanes<64> widen_low(Lanes<32> a) { return {_mm_unpacklo_epi32(a.raw, _mm_setzero_si128())}; }
inline Lanes<64> widen_high(Lanes<32> a) { return {_mm_unpackhi_epi32(a.raw, _mm_setzero_si128())}; }

// The low half of a, then that of b.
inline Lanes<32> low_halves(Lanes<32> a, Lanes<32> b) { return {_mm_unpacklo_epi64(a.raw, b.raw)}; }

// Lanes 0 and 2, or 1 and 3, of a, then those of b.
inline Lanes<32> even_lanes(Lanes<32> a, Lanes<32> b) {
    return {_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), 0x88))};
}
inline Lanes<32> odd_lanes(Lanes<32> a, Lanes<32> b) {
    return {_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), 0xDD))};
}

// Two vectors of comparison results in one, a's lanes first, each lane half as wide. Of results in lanes of 64 bits
// either half will do, and some processors pick it on more ports than they pack on: a quarter more rows of an order.
inline Lanes<8> narrow(Lanes<16> a, Lanes<16> b) { return {_mm_packs_epi16(a.raw, b.raw)}; }
inline Lanes<16> narrow(Lanes<32> a, Lanes<32> b) { return {_mm_packs_epi32(a.raw, b.raw)}; }
inline Lanes<32> narrow(Lanes<64> a, Lanes<64> b) { return even_lanes(seen_as<32>(a), seen_as<32>(b)); }

// The same of numbers whose size matters near zero alone. Lanes of 16 and 32 bits become the nearest signed number that
// fits. Of 64 bits either half does, and all that is known of the lane is whether it is zero.
inline Lanes<8> narrow_near_zero(Lanes<16> a, Lanes<16> b) { return narrow(a, b); }
inline Lanes<16> narrow_near_zero(Lanes<32> a, Lanes<32> b) { return narrow(a, b); }
inline Lanes<32> narrow_near_zero(Lanes<64> a, Lanes<64> b) {
    return seen_as<32>(narrow(seen_as<32>(a), seen_as<32>(b)));
}

// The four-bit numbers with their bits in the opposite order, shifted up.
constexpr std::array<uint8_t, kVectorBytes> reversed_halves(int shift) {
    std::array<uint8_t, kVectorBytes> halves{};
    for (unsigned half = 0; half < halves.size(); ++half)
        for (unsigned bit = 0; bit < 4; ++bit)
            halves[half] = uint8_t(halves[half] | (half >> bit & 1) << (3 - bit + unsigned(shift)));
    return halves;
}

// Each byte with its bits in the opposite order, by a lookup of either half.
inline Lanes<8> bits_reversed(Lanes<8> lanes) {
    static constexpr auto kReversed = reversed_halves(0), kReversedUp = reversed_halves(4);
    const Lanes<8> low_halves = spread(uint8_t{0x0F});
    const Lanes<8> low = both(lanes, low_halves), high = both({_mm_srli_epi16(lanes.raw, 4)}, low_halves);
    return either(pick_bytes<8>(load_lanes<8>(kReversedUp.data()), low),
                  pick_bytes<8>(load_lanes<8>(kReversed.data()), high));
}

// In each byte lane the bit that the lane's number modulo 8 means. Numbers are below 128.
inline Lanes<8> single_bits(Lanes<8> numbers) {
    static constexpr auto kBits = [] {
        std::array<uint8_t, kVectorBytes> bits{};
        for (size_t number = 0; number < bits.size(); ++number)
            bits[number] = uint8_t(1 << number % 8);
        return bits;
    }();
    return pick_bytes<8>(load_lanes<8>(kBits.data()), numbers);
}

// Byte i is byte_at(i).
template <typename ByteAt>
[[gnu::always_inline]] inline Lanes<8> gathered_bytes(ByteAt byte_at) {
    return [&]<int... lane>(std::integer_sequence<int, lane...>) __attribute__((always_inline)) {
        __m128i bytes = _mm_cvtsi32_si128(byte_at(0));
        ((bytes = _mm_insert_epi8(bytes, byte_at(lane + 1), lane + 1)), ...);
        return Lanes<8>{bytes};
    }
    (std::make_integer_sequence<int, kVectorBytes - 1>());
}

// The low byte of each lane from one vector, the high byte from another.
inline Lanes<8> bytes_of_two(Lanes<16> low, Lanes<16> high) {
    return {_mm_blendv_epi8(high.raw, low.raw, _mm_set1_epi16(0x00FF))};
}

// One bit a byte lane, the lane's top bit, lane 0 lowest.
inline uint32_t top_bits(Lanes<8> lanes) { return uint32_t(_mm_movemask_epi8(lanes.raw)); }

inline uint64_t low_word(Lanes<64> lanes) { return uint64_t(_mm_cvtsi128_si64(lanes.raw)); }
inline uint64_t high_word(Lanes<64> lanes) { return uint64_t(_mm_extract_epi64(lanes.raw, 1)); }

}  // namespace kdzk
