// row_fetch.h: one code out of a payload, by its row.
#pragma once

#include "bitvec/bits.h"
#include "lanes.h"

namespace kdzk {

// Whether codes of a width are integers of whole bytes.
constexpr bool fills_elements(int width) { return width >= 8 && std::has_single_bit(unsigned(width)); }

// A code as a number, and a key as hosts lay it down: elements have their own size, every other width has 32 bits.
template <int kWidth>
using DictCode = UnsignedOf<fills_elements(kWidth) ? kWidth : 32>;

// Elements are read and no more, of other whole bytes one byte more. A packed code is taken out of the eight bytes from
// its first bit's 32-bit element on: at most seven behind its last byte. Its bit position is taken in 32 bits, so rows
// times width stay below 2^32.
template <int kWidth>
DictCode<kWidth> fetch_code(const uint8_t *payload, uint32_t row) {
    if constexpr (fills_elements(kWidth))
        return load_be<DictCode<kWidth>>(payload + uint64_t{row} * sizeof(DictCode<kWidth>));
    static_assert(fills_elements(kWidth) || kWidth <= 33, "a code and the 31 bits before it fill the window");
    const uint32_t position = row * uint32_t(kWidth);
    if constexpr (kWidth == 24)
        return load_be<uint32_t>(payload + position / 8) >> (32 - kWidth);
    const uint64_t window = load_be<uint64_t>(payload + uint64_t{position / 32} * 4);
    return DictCode<kWidth>(window << position % 32 >> (64 - kWidth));
}

}  // namespace kdzk
