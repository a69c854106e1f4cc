// The one place where a column's encoding is chosen.
//
// A small dictionary is taken whatever its size in bytes, with codes of rows or, where runs are long, of runs. Beyond,
// whatever takes the least room is taken: a dictionary with its codes, rows of up to eight bytes where all values are
// such rows, or the values as they came. The last one has no kernels, so it has to be smaller than the others.
#include "code_stream.h"
#include "encoding.h"
#include "length_fields.h"

namespace qvk {
namespace {

// Without what all of them have: NULLs' bits and the slack of segments.
uint64_t fixed_bytes(const LaneStudy &study, uint64_t rows) {
    const uint32_t row_bytes = study.values.row_bytes;
    return rows * row_bytes + (study.values.keeps_zeros ? length_fields_bytes(rows, lane_bytes_for(row_bytes)) : 0);
}

uint64_t dynp_bytes(const LaneStudy &study, uint64_t rows) {
    return study.value_bytes + length_fields_bytes(rows, dynp_lane_bytes_for(study.values.row_bytes))
           + rows / kDynpStartRows * sizeof(uint32_t);
}

struct Choice {
    EncodingKind kind;
    uint64_t bytes;
};

// From so many rows a run on, in the mean, a scan of runs takes no longer than one of rows, and runs less room.
// Measured: see host/README.md.
uint64_t rows_of_a_run(uint32_t width_bits) { return width_bits == 1 ? 512 : 64; }

Choice smallest_with_dictionary(const ColumnStage &stage) {
    const uint32_t width = width_for(stage.distinct.size());
    const uint64_t rows = stage.codes.size();
    if (rows == 0 || rows < stage.runs * rows_of_a_run(width)) {
        return {EncodingKind::dict, stage.distinct_bytes + packed_bytes(rows, width)};
    }
    return {EncodingKind::rle, stage.distinct_bytes + packed_bytes(stage.runs, width) + stage.runs * sizeof(uint32_t)};
}

Choice smallest_without_dictionary(const ColumnStage &stage, const LaneStudy &study) {
    const Choice plain{EncodingKind::plain, stage.plain_bytes};
    if (study.obstacle) {
        return plain;
    }
    const Choice fixed{EncodingKind::fixed, fixed_bytes(study, stage.rows())};
    const Choice dynp{EncodingKind::dynp, dynp_bytes(study, stage.rows())};
    const Choice lanes = fixed.bytes <= dynp.bytes ? fixed : dynp;
    return lanes.bytes <= plain.bytes ? lanes : plain;
}

bool has_small_dictionary(const ColumnStage &stage) {
    constexpr size_t kSmallDictionary = 256;
    return stage.distinct.size() <= kSmallDictionary;
}

EncodingKind choose_kind(const ColumnStage &stage, const LaneStudy &study) {
    const Choice other = smallest_without_dictionary(stage, study);
    if (!stage.is_coded) {
        return other.kind;
    }
    const Choice coded = smallest_with_dictionary(stage);
    return has_small_dictionary(stage) || coded.bytes < other.bytes ? coded.kind : other.kind;
}

}  // namespace

bool dictionary_pays(const ColumnStage &stage) {
    return has_small_dictionary(stage) || smallest_with_dictionary(stage).bytes < stage.plain_bytes;
}

std::unique_ptr<Encoding> choose_encoding(ColumnStage &&stage, const std::string &column, uint32_t segment_rows) {
    const LaneStudy study = study_lanes(stage);
    const EncodingKind kind = stage.wanted ? *stage.wanted : choose_kind(stage, study);
    if (has_dictionary(kind)) {
        return (kind == EncodingKind::dict ? make_dict_encoding : make_rle_encoding)(std::move(stage), segment_rows);
    }
    if (kind == EncodingKind::plain) {
        stage.go_plain();
        return make_plain_encoding(std::move(stage), segment_rows);
    }
    if (study.obstacle) {
        throw CannotEncode("column " + column + " can't be " + std::string(name_of(kind)) + ": it holds "
                           + study.obstacle);
    }
    return (kind == EncodingKind::fixed ? make_fixed_encoding : make_dynp_encoding)(std::move(stage), study.values,
                                                                                    segment_rows);
}

}  // namespace qvk
