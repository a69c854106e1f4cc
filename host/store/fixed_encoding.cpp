// Fixed: rows of one length, that of the longest.
#include "lane_encoding.h"
#include "length_fields.h"

namespace qvk {
namespace {

struct FixedEncoding final : LaneEncoding {
    std::string_view name() const override { return name_of(EncodingKind::fixed); }
    uint32_t width_bits() const override { return 8 * values.row_bytes; }
    void pack(std::span<const LaneRow> rows, Segment &segment) override;
    StoredRow row_at(const uint8_t *payload, size_t segment, uint32_t row) const override;
    bool has_lengths() const { return values.keeps_zeros && lane_bytes() > 1; }
};

void FixedEncoding::pack(std::span<const LaneRow> rows, Segment &segment) {
    segment.stored.resize(rows.size() * values.row_bytes + KDZK_FIXED_SLACK_BYTES);
    uint8_t *out = segment.stored.data();
    for (const LaneRow &row : rows) {
        put_word(out, row.word, values.row_bytes);
        out += values.row_bytes;
    }
    if (has_lengths()) {
        segment.lens = pack_lengths(rows, lane_bytes());
    }
}

LaneEncoding::StoredRow FixedEncoding::row_at(const uint8_t *payload, size_t segment, uint32_t row) const {
    const uint8_t *bytes = payload + uint64_t{row} * values.row_bytes;
    const uint32_t length = has_lengths() ? length_at(parts[segment]->lens.data(), lane_bytes(), row) : 1;
    return {{word_at(bytes, values.row_bytes), length}, bytes};
}

}  // namespace

std::unique_ptr<Encoding> make_fixed_encoding(ColumnStage &&stage, const LaneValues &values, uint32_t segment_rows) {
    return make_lane_encoding<FixedEncoding>(stage, values, KDZK_CLASS_FIXED, lane_bytes_for(values.row_bytes),
                                             segment_rows);
}

}  // namespace qvk
