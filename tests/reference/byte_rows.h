// byte_rows.h: rows that are byte strings, as fixed and dynp columns store them, and what a predicate answers about
// them.
#pragma once

#include <string>

#include "reference/kernels.h"

namespace reference {

// One row or key: its bytes, of which trailing zeros may belong to it. The plain forms see no difference between AB and
// AB 00; the tz forms do.
struct ByteRows {
    Kernel kernel;
    size_t stored_bytes;  // of a fixed row; of a lane, if dynp

    bool is_dynp() const { return kernel.kernel_class == KDZK_CLASS_DYNP; }
    size_t lane_bytes() const { return kernel.width_bits / 8; }
    bool compares_lengths() const { return kernel.form == KDZK_FORM_TZ && kernel.width_bits > 8; }

    std::vector<uint8_t> payload(const std::vector<std::string> &rows) const;
    std::vector<uint8_t> lens(const std::vector<size_t> &fields) const;
    std::string lane(std::string row) const { return row.append(lane_bytes() - row.size(), 0); }

    // What may be read behind the last row and behind the last lengths byte.
    size_t payload_slack() const;
    size_t lens_slack() const { return kernel.form == KDZK_FORM_TZ ? 12 : 0; }
};

using LaneAndField = std::pair<std::string, size_t>;  // compared in this order, bytes unsigned

inline std::vector<uint8_t> ByteRows::payload(const std::vector<std::string> &rows) const {
    std::string bytes;
    for (const std::string &row : rows)
        bytes += is_dynp() ? row : lane(row).substr(0, stored_bytes);
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

inline std::vector<uint8_t> ByteRows::lens(const std::vector<size_t> &fields) const {
    return write_codes(std::vector<uint64_t>(fields.begin(), fields.end()), kernel.width_bits / 16);
}

inline size_t ByteRows::payload_slack() const {
    if (is_dynp())
        return kernel.width_bits == 16 ? 8 : kernel.width_bits == 32 ? 12 : 14;
    constexpr size_t by_stored_bytes[] = {0, 0, 0, 4, 0, 6, 4, 2, 0};
    return by_stored_bytes[stored_bytes];
}

}  // namespace reference
