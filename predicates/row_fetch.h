// row_fetch.h: one code out of a payload, by its row.
#pragma once

#include "bitvec/bits.h"

namespace kdzk {

// A code of whole bytes; reads no further than the code.
template <typename Code>
Code fetch_element(const uint8_t *payload, uint32_t row) {
    return load_be<Code>(payload + uint64_t{row} * sizeof(Code));
}

// A packed code, out of the eight bytes from its first bit's 32-bit element on: at most seven behind its last byte. The
// bit position is taken in 32 bits, so rows times width stay below 2^32.
template <uint32_t kWidth>
uint32_t fetch_code(const uint8_t *payload, uint32_t row) {
    static_assert(kWidth <= 33, "a code and the 31 bits before it fill the window");
    const uint32_t position = row * kWidth;
    const uint64_t window = load_be<uint64_t>(payload + uint64_t{position / 32} * 4);
    return uint32_t(window << position % 32 >> (64 - kWidth));
}

}  // namespace kdzk
