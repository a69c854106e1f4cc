// Dict: codes of one width into a sorted dictionary, here one byte a row.
#include "encoding.h"

#include <algorithm>
#include <numeric>

namespace qvk {
namespace {

constexpr KernelFamily kDict8{KDZK_CLASS_DICT, 8, KDZK_FORM_PLAIN};

uint64_t codes_in(const std::vector<CodeRun> &runs) {
    uint64_t count = 0;
    for (const CodeRun &run : runs) {
        count += run.last - run.first + 1;
    }
    return count;
}

// The one code outside the runs.
uint32_t missing_code(const std::vector<CodeRun> &runs) {
    return runs.empty() || runs.front().first > 0 ? 0 : runs.front().last + 1;
}

// A test against the end of the dictionary needs one comparison a row instead of two.
KernelCall call_for(const CodeRun &run, uint32_t size) {
    if (run.first == run.last) {
        return {KDZK_OP_EQ, run.first, 0};
    }
    if (run.first == 0) {
        return {KDZK_OP_LE, run.last, 0};
    }
    if (run.last == size - 1) {
        return {KDZK_OP_GE, run.first, 0};
    }
    return {KDZK_OP_GE_LE, run.first, run.last};
}

ColumnScan scan_of(const std::vector<CodeRun> &runs, uint32_t size) {
    const uint64_t codes = codes_in(runs);
    if (codes == 0) {
        return {ColumnScan::Rows::none, {}};
    }
    if (codes == size) {
        return {ColumnScan::Rows::all, {}};
    }
    ColumnScan scan;
    if (codes == size - 1) {
        scan.any_of.push_back({KDZK_OP_NE, missing_code(runs), 0});
        return scan;
    }
    for (const CodeRun &run : runs) {
        scan.any_of.push_back(call_for(run, size));
    }
    return scan;
}

struct DictEncoding final : Encoding {
    Dictionary values;
    std::vector<std::unique_ptr<Segment>> segments;

    std::string_view name() const override { return "dict"; }
    uint32_t width_bits() const override { return kDict8.width_bits; }
    uint64_t bytes() const override;
    ValueView value(size_t segment, uint32_t row) const override {
        return values.values[segments[segment]->payload[row]].view();
    }
    const KernelFamily *kernels() const override { return &kDict8; }
    const Dictionary *dictionary() const override { return &values; }
    ColumnScan scan_for(const Predicate &predicate) const override {
        return scan_of(runs_of(values, predicate), values.size());
    }
    ColumnScan typical_scan(const Predicate &predicate) const override {
        constexpr uint32_t kLarge = 1u << 20;
        return scan_of(typical_runs(predicate, values.has_null(), kLarge), kLarge);
    }
    Segment *segment(size_t index) override { return segments[index].get(); }
};

uint64_t DictEncoding::bytes() const {
    uint64_t sum = 0;
    for (const auto &segment : segments) {
        sum += segment->payload.size();
    }
    for (const Value &value : values.values) {
        sum += sizeof value + value.bytes.size();
    }
    return sum;
}

// Sorts the distinct values and gives the final code of each provisional one.
std::vector<uint8_t> sort_dictionary(const std::vector<Value> &distinct, Dictionary &sorted) {
    std::vector<uint32_t> order(distinct.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return compare(distinct[a].view(), distinct[b].view()) < 0; });
    std::vector<uint8_t> final_code(distinct.size());
    for (size_t code = 0; code < order.size(); ++code) {
        final_code[order[code]] = static_cast<uint8_t>(code);
        sorted.values.push_back(distinct[order[code]]);
    }
    sorted.rows.resize(order.size());
    return final_code;
}

}  // namespace

std::unique_ptr<Encoding> make_dict_encoding(ColumnStage &&stage, uint32_t segment_rows) {
    auto made = std::make_unique<DictEncoding>();
    const std::vector<uint8_t> final_code = sort_dictionary(stage.distinct, made->values);
    for (size_t row = 0; row < stage.codes.size(); row += segment_rows) {
        const size_t end = std::min(stage.codes.size(), row + segment_rows);
        auto segment = std::make_unique<Segment>();
        segment->payload.reserve(end - row);
        for (size_t at = row; at < end; ++at) {
            segment->payload.push_back(final_code[stage.codes[at]]);
            ++made->values.rows[segment->payload.back()];
        }
        segment->seal(static_cast<uint32_t>(end - row), kDict8.width_bits);
        made->segments.push_back(std::move(segment));
    }
    return made;
}

}  // namespace qvk
