// Lengths of rows as kernels read them: fields of 1, 2 or 4 bits for lanes of 2, 4 or 8 bytes, from the high bits of
// each byte down. A field is the row's length in bytes less one. Rows of one byte have none.
#pragma once

#include "lane_values.h"

#include <kdzk.h>

#include <span>

namespace qvk {

inline uint32_t length_field_bits(uint32_t lane_bytes) { return lane_bytes / 2; }

inline uint64_t length_fields_bytes(uint64_t rows, uint32_t lane_bytes) {
    return (rows * length_field_bits(lane_bytes) + 7) / 8;
}

// Dynp: between rows whose places are kept, lengths are added up when a single row is read.
inline constexpr uint32_t kDynpStartRows = 32;

// With room behind the fields in which kernels may read.
inline std::vector<uint8_t> pack_lengths(std::span<const LaneRow> rows, uint32_t lane_bytes) {
    std::vector<uint8_t> lens(length_fields_bytes(rows.size(), lane_bytes) + KDZK_LENS_SLACK_BYTES);
    const uint32_t bits = length_field_bits(lane_bytes);
    for (size_t row = 0; row < rows.size(); ++row) {
        const size_t end = (row + 1) * bits;  // in bits
        lens[(end - 1) / 8] |= static_cast<uint8_t>((rows[row].bytes - 1) << (8 - end % 8) % 8);
    }
    return lens;
}

inline uint32_t length_at(const uint8_t *lens, uint32_t lane_bytes, uint64_t row) {
    const uint32_t bits = length_field_bits(lane_bytes);
    const uint64_t end = (row + 1) * bits;
    return (lens[(end - 1) / 8] >> (8 - end % 8) % 8 & ((1u << bits) - 1)) + 1;
}

}  // namespace qvk
