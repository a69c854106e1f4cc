// algebra.cpp: AND, OR, XOR, AND-NOT, NOT and popcount over bit vectors, word by word (lbiwv) and byte by byte (lbiv),
// with the ones of the result counted in the same pass if the caller wants them.
//
// All are one walk: single units until the target stands on sixteen bytes, then sixteen bytes at a time with an aligned
// store, then single units to the end. A unit is the least that may be touched: a word of an lbiwv vector, a byte of an
// lbiv vector. Bits above the last row are stored as the operation gives them; the count alone leaves them out.
#include <type_traits>

#include "bitvec/bits.h"
#include "frame/platform.h"
#include "lanes.h"

namespace kdzk {

namespace {

constexpr uint64_t kBlockBits = kVectorBytes * 8;

// Four blocks a turn: a turn's overhead is then small beside its loads, stores and counts.
constexpr uint64_t kTurnBytes = 4 * kVectorBytes;

constexpr auto kAnd = [](auto a, auto... more) { return ((a = both(a, more)), ...); };
constexpr auto kOr = [](auto a, auto... more) { return ((a = either(a, more)), ...); };
constexpr auto kXor = [](auto a, auto... more) { return ((a = differing(a, more)), ...); };
constexpr auto kAndNot = [](auto a, auto b) { return without(a, b); };
constexpr auto kNot = [](auto a) { return complement(a); };
constexpr auto kItself = [](auto a) { return a; };

bool on_block_boundary(const uint8_t *at) { return reinterpret_cast<uintptr_t>(at) % kVectorBytes == 0; }

// The walk. A target that can't be written is only counted, and aligned on. Returns the ones among the first nbits bits
// if counting.
template <typename Unit, bool counting, typename Target, typename Combine, typename... Source>
uint32_t walk(Target *target, uint64_t nbits, Combine combine, const Source *...sources) {
    constexpr bool storing = !std::is_const_v<Target>;
    constexpr uint64_t unit_bits = sizeof(Unit) * 8;
    const uint64_t end = (nbits + unit_bits - 1) / unit_bits * sizeof(Unit);
    uint64_t at = 0;  // in bytes, as is end
    uint32_t ones = 0;
    Unit last = 0;
    const auto combine_unit = [&] {
        last = Unit(combine(uint64_t{load<Unit>(sources + at)}...));
        if constexpr (storing)
            store(target + at, last);
        if constexpr (counting)
            ones += ones_in(last);
        at += sizeof(Unit);
    };
    // Counting alone, words go from memory to the count without passing through a vector.
    const auto combine_block = [&](uint64_t block_at) -> uint32_t {
        if constexpr (storing) {
            const Lanes<64> block = combine(load_lanes<64>(sources + block_at)...);
            store_aligned(target + block_at, block);
            return counting ? ones_in(low_word(block)) + ones_in(high_word(block)) : 0;
        } else {
            return ones_in(combine(load<uint64_t>(sources + block_at)...))
                   + ones_in(combine(load<uint64_t>(sources + block_at + kVectorBytes / 2)...));
        }
    };

    while (at < end && !on_block_boundary(target + at))
        combine_unit();
    if (at * 8 < nbits) {
        const uint64_t blocks_end = at + (nbits - at * 8) / kBlockBits * kVectorBytes;
        for (; blocks_end - at >= kTurnBytes; at += kTurnBytes) {
            // A count keeps the processor from running as far ahead by itself: with the prefetch it costs a twentieth
            // beyond the last cache instead of an eighth. Without a count it gains nothing there and loses a fifth in
            // the first cache.
            if constexpr (counting)
                (prefetch(sources + at + kPrefetchBytes), ...);
#pragma GCC unroll 4
            for (uint64_t block = 0; block < kTurnBytes; block += kVectorBytes)
                ones += combine_block(at + block);
        }
        for (; at < blocks_end; at += kVectorBytes)
            ones += combine_block(at);
    }
    while (at < end)
        combine_unit();

    // Blocks are whole units, so what lies above the last row lies in the last unit.
    if (const uint64_t used_bits = nbits % unit_bits)
        ones -= ones_in(uint64_t{last} >> used_bits);
    return ones;
}

const uint8_t *bytes_of(const void *bv) { return static_cast<const uint8_t *>(bv); }

// Whether to count is decided once, outside the loops.
template <typename Unit, typename Combine, typename... Source>
void store_combined(void *dst, uint32_t *count, uint64_t nbits, Combine combine, const Source *...sources) {
    uint8_t *target = static_cast<uint8_t *>(dst);
    if (count)
        *count = walk<Unit, true>(target, nbits, combine, bytes_of(sources)...);
    else
        walk<Unit, false>(target, nbits, combine, bytes_of(sources)...);
}

template <typename Unit>
uint32_t ones_of(const void *bv, uint64_t nbits) {
    return walk<Unit, true>(bytes_of(bv), nbits, kItself, bytes_of(bv));
}

using Byte = uint8_t;
using Word = uint64_t;

}  // namespace

}  // namespace kdzk

using namespace kdzk;

void kdzk_lbivand_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kAnd, a, b);
}

void kdzk_lbiwvand_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kAnd, a, b);
}

void kdzk_lbivor_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kOr, a, b);
}

void kdzk_lbiwvor_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kOr, a, b);
}

void kdzk_lbivxor_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kXor, a, b);
}

void kdzk_lbiwvxor_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kXor, a, b);
}

void kdzk_lbivandnot_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kAndNot, a, b);
}

void kdzk_lbiwvandnot_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kAndNot, a, b);
}

void kdzk_lbivand3_dydi(void *dst, uint32_t *count, const void *a, const void *b, const void *c, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kAnd, a, b, c);
}

void kdzk_lbiwvand3_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                         uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kAnd, a, b, c);
}

void kdzk_lbivor3_dydi(void *dst, uint32_t *count, const void *a, const void *b, const void *c, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kOr, a, b, c);
}

void kdzk_lbiwvor3_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                        uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kOr, a, b, c);
}

void kdzk_lbivxor3_dydi(void *dst, uint32_t *count, const void *a, const void *b, const void *c, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kXor, a, b, c);
}

void kdzk_lbiwvxor3_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                         uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kXor, a, b, c);
}

void kdzk_lbivnot_dydi(void *dst, uint32_t *count, const void *a, uint64_t nbits) {
    store_combined<Byte>(dst, count, nbits, kNot, a);
}

void kdzk_lbiwvnot_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, uint64_t nbits) {
    store_combined<Word>(dst, count, nbits, kNot, a);
}

void kdzk_lbivpopcnt_dydi(uint32_t *count, const void *bv, uint64_t nbits) { *count = ones_of<Byte>(bv, nbits); }

void kdzk_lbiwvpopcnt_dydi(uint32_t *count, const uint64_t *bv, uint64_t nbits) { *count = ones_of<Word>(bv, nbits); }
