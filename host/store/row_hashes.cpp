// Hashing a column's rows.
#include "row_hashes.h"

#include "table.h"
#include "value_set.h"

namespace qvk {
namespace {

constexpr kdzk_enc_ctx kHashEncoding = [] {
    kdzk_enc_ctx encoding{};
    encoding.flags = KDZK_ENC_HASHES;
    encoding.width = 32;
    return encoding;
}();

std::vector<uint32_t> hash_rows(const Table &table, size_t column, size_t segment) {
    std::vector<uint32_t> hashes(table.rows_in_segment(segment));
    for (uint32_t row = 0; row < hashes.size(); ++row) {
        hashes[row] = __builtin_bswap32(static_cast<uint32_t>(hash_of(table.value(column, segment, row))));
    }
    return hashes;
}

}  // namespace

kdzk_vec RowHashes::of(const Table &table, size_t column, size_t segment) {
    segments.resize(table.segment_count());
    std::vector<uint32_t> &hashes = segments[segment];
    if (hashes.empty()) {
        hashes = hash_rows(table, column, segment);
    }
    kdzk_vec vector{};
    vector.data = hashes.data();
    vector.enc_ctx = &kHashEncoding;
    vector.row_count = static_cast<uint32_t>(hashes.size());
    return vector;
}

uint64_t RowHashes::bytes() const {
    uint64_t sum = 0;
    for (const std::vector<uint32_t> &hashes : segments) {
        sum += hashes.size() * sizeof(uint32_t);
    }
    return sum;
}

}  // namespace qvk
