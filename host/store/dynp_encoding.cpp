// Dynp: rows of the bytes that they need, end to end, with their lengths beside them.
#include "lane_encoding.h"
#include "length_fields.h"

namespace qvk {
namespace {

struct DynpEncoding final : LaneEncoding {
    std::vector<std::vector<uint32_t>> starts;  // by segment: where every kDynpStartRows-th row begins in the payload

    std::string_view name() const override { return name_of(EncodingKind::dynp); }
    uint32_t width_bits() const override { return family.width_bits; }
    uint64_t bytes() const override;
    void pack(std::span<const LaneRow> rows, Segment &segment) override;
    StoredRow row_at(const uint8_t *payload, size_t segment, uint32_t row) const override;
};

uint64_t DynpEncoding::bytes() const {
    uint64_t sum = LaneEncoding::bytes();
    for (const auto &of_segment : starts) {
        sum += of_segment.size() * sizeof(uint32_t);
    }
    return sum;
}

void DynpEncoding::pack(std::span<const LaneRow> rows, Segment &segment) {
    std::vector<uint32_t> &of_segment = starts.emplace_back();
    uint32_t bytes = 0;
    for (size_t row = 0; row < rows.size(); ++row) {
        if (row % kDynpStartRows == 0) {
            of_segment.push_back(bytes);
        }
        bytes += rows[row].bytes;
    }
    segment.stored.resize(bytes + KDZK_DYNP_SLACK_BYTES);
    uint8_t *out = segment.stored.data();
    for (const LaneRow &row : rows) {
        put_word(out, row.word, row.bytes);
        out += row.bytes;
    }
    segment.lens = pack_lengths(rows, lane_bytes());
}

LaneEncoding::StoredRow DynpEncoding::row_at(const uint8_t *payload, size_t segment, uint32_t row) const {
    const uint8_t *lens = parts[segment]->lens.data();
    const uint8_t *bytes = payload + starts[segment][row / kDynpStartRows];
    for (uint32_t before = row / kDynpStartRows * kDynpStartRows; before < row; ++before) {
        bytes += length_at(lens, lane_bytes(), before);
    }
    const uint32_t length = length_at(lens, lane_bytes(), row);
    return {{word_at(bytes, length), length}, bytes};
}

}  // namespace

std::unique_ptr<Encoding> make_dynp_encoding(ColumnStage &&stage, const LaneValues &values, uint32_t segment_rows) {
    return make_lane_encoding<DynpEncoding>(stage, values, KDZK_CLASS_DYNP, dynp_lane_bytes_for(values.row_bytes),
                                            segment_rows);
}

}  // namespace qvk
