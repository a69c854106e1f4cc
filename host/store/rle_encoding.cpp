// Rle: a code for each run of rows with one value, and where the runs begin.
//
// Predicates are answered over the runs, by the kernels for codes of a dictionary; one more makes bits of rows of the
// runs' bits. Runs end with their segment.
#include "dict_encoding.h"

namespace qvk {
namespace {

// The form for starts reads nothing but them, whatever the width in its name.
constexpr Kernel kBurst{{KDZK_CLASS_RLE, 16}, KDZK_OP_BURST, KDZK_FORM_CLA};

struct RleEncoding final : DictEncoding {
    using DictEncoding::DictEncoding;

    std::string_view name() const override { return name_of(EncodingKind::rle); }
    ValueView value(size_t segment, uint32_t row, HostServices &services) const override {
        return value_at(segment, parts[segment]->runs.run_of(row), services);
    }
    const Kernel *burst() const override { return &kBurst; }
};

void add_runs(RleEncoding &encoding, std::span<const uint32_t> codes) {
    std::vector<uint32_t> of_runs;
    Runs runs;
    for (size_t row = 0; row < codes.size(); ++row) {
        if (row == 0 || codes[row] != codes[row - 1]) {
            of_runs.push_back(codes[row]);
            runs.add_start(static_cast<uint32_t>(row));
        }
    }
    runs.add_start(static_cast<uint32_t>(codes.size()));
    encoding.add_segment(of_runs, std::move(runs));
}

}  // namespace

std::unique_ptr<Encoding> make_rle_encoding(ColumnStage &&stage, uint32_t segment_rows) {
    auto made = std::make_unique<RleEncoding>(stage);
    for_each_segment(stage.codes, segment_rows, [&](std::span<const uint32_t> codes) { add_runs(*made, codes); });
    return made;
}

}  // namespace qvk
