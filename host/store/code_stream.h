// Codes of one width as the kernels read them: a stream of bits without padding between rows. Row r's code lies at bits
// r * width and on, bit 0 being the top bit of byte 0, the code's own top bit first.
#pragma once

#include <kdzk.h>

#include <cstring>
#include <span>
#include <vector>

namespace qvk {

// The narrowest width with kernels that holds so many different codes.
uint32_t width_for(uint64_t distinct_codes);

// What pack_codes makes of so many rows, slack included.
uint64_t packed_bytes(uint64_t rows, uint32_t width_bits);

// The payload of a segment, with room behind it in which kernels may read.
std::vector<uint8_t> pack_codes(std::span<const uint32_t> codes, uint32_t width_bits);

inline uint32_t code_at(const uint8_t *payload, uint32_t width_bits, uint64_t row) {
    const uint64_t bit = row * width_bits;
    uint64_t bytes = 0;
    static_assert(sizeof bytes <= KDZK_DICT_SLACK_BYTES, "it may be read from the last code on");
    std::memcpy(&bytes, payload + bit / 8, sizeof bytes);
    return static_cast<uint32_t>(__builtin_bswap64(bytes) << bit % 8 >> (64 - width_bits));
}

}  // namespace qvk
