// Dict: codes of one width into a sorted dictionary.
//
// In a column with NULLs, code 0 is NULL. The _null kernels pass over it, so comparisons needn't keep it out; IS NULL
// and IS NOT NULL are comparisons with 0 by plain kernels.
#include "code_stream.h"
#include "encoding.h"

#include <algorithm>
#include <numeric>

namespace qvk {
namespace {

// What the choice of kernels depends on besides the runs.
struct CodeSpace {
    uint32_t lowest, size;  // codes of values run from lowest to size - 1; NULL is 0 if lowest is 1

    uint32_t form() const { return lowest > 0 ? KDZK_FORM_NULL : KDZK_FORM_PLAIN; }
    uint32_t values() const { return size - lowest; }
};

uint64_t codes_in(const std::vector<CodeRun> &runs) {
    uint64_t count = 0;
    for (const CodeRun &run : runs) {
        count += run.last - run.first + 1;
    }
    return count;
}

// The one code of a value outside the runs.
uint32_t missing_code(const std::vector<CodeRun> &runs, uint32_t lowest) {
    return runs.empty() || runs.front().first > lowest ? lowest : runs.front().last + 1;
}

// A test against the end of the dictionary needs one comparison a row instead of two.
KernelCall call_for(const CodeRun &run, const CodeSpace &space) {
    if (run.first == run.last) {
        return {KDZK_OP_EQ, space.form(), run.first, 0};
    }
    if (run.first == space.lowest) {
        return {KDZK_OP_LE, space.form(), run.last, 0};
    }
    if (run.last == space.size - 1) {
        return {KDZK_OP_GE, space.form(), run.first, 0};
    }
    return {KDZK_OP_GE_LE, space.form(), run.first, run.last};
}

std::vector<KernelCall> calls_for(const std::vector<CodeRun> &runs, const CodeSpace &space) {
    const uint64_t codes = codes_in(runs);
    if (runs.front().last < space.lowest) {
        return {{KDZK_OP_EQ, KDZK_FORM_PLAIN, 0, 0}};
    }
    if (codes == space.values()) {
        return {{KDZK_OP_GT, KDZK_FORM_PLAIN, 0, 0}};
    }
    if (codes == space.values() - 1) {
        return {{KDZK_OP_NE, space.form(), missing_code(runs, space.lowest), 0}};
    }
    std::vector<KernelCall> calls;
    for (const CodeRun &run : runs) {
        calls.push_back(call_for(run, space));
    }
    return calls;
}

ColumnScan scan_of(const std::vector<CodeRun> &runs, const CodeSpace &space) {
    const uint64_t codes = codes_in(runs);
    if (codes == 0) {
        return {ColumnScan::Rows::none, {}};
    }
    if (codes == space.size) {
        return {ColumnScan::Rows::all, {}};
    }
    return {ColumnScan::Rows::tested, calls_for(runs, space)};
}

struct DictEncoding final : Encoding {
    Dictionary values;
    KernelFamily family;
    std::vector<std::unique_ptr<Segment>> parts;

    std::string_view name() const override { return "dict"; }
    uint32_t width_bits() const override { return family.width_bits; }
    uint64_t bytes() const override;
    ValueView value(size_t segment, uint32_t row, HostServices &services) const override {
        return values.values[code_at(payload_of(*parts[segment], services), family.width_bits, row)].view();
    }
    const KernelFamily *kernels() const override { return &family; }
    const Dictionary *dictionary() const override { return &values; }
    ColumnScan scan_for(const Predicate &predicate) const override;
    ColumnScan typical_scan(const Predicate &predicate) const override {
        constexpr uint32_t kLarge = 1u << 20;
        return scan_of(typical_runs(predicate, values.has_null(), kLarge), {values.lowest_code(), kLarge});
    }
    std::span<const std::unique_ptr<Segment>> segments() const override { return parts; }
};

uint64_t DictEncoding::bytes() const {
    uint64_t sum = payload_bytes(*this).stored;
    for (const Value &value : values.values) {
        sum += sizeof value + value.bytes.size();
    }
    return sum;
}

ColumnScan DictEncoding::scan_for(const Predicate &predicate) const {
    const std::vector<CodeRun> runs = runs_of(values, predicate);
    ColumnScan scan = scan_of(runs, {values.lowest_code(), values.size()});
    for (const CodeRun &run : runs) {
        scan.hits += values.rows_in(run);
    }
    return scan;
}

// Moves the distinct values into the dictionary and gives the final code of each provisional one.
std::vector<uint32_t> sort_dictionary(std::vector<Value> &distinct, Dictionary &sorted) {
    std::vector<uint32_t> order(distinct.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return compare(distinct[a].view(), distinct[b].view()) < 0; });
    std::vector<uint32_t> final_code(distinct.size());
    for (uint32_t code = 0; code < order.size(); ++code) {
        final_code[order[code]] = code;
        sorted.values.push_back(std::move(distinct[order[code]]));
    }
    return final_code;
}

void count_rows(const std::vector<uint32_t> &codes, Dictionary &dictionary) {
    dictionary.rows_below.assign(dictionary.values.size() + 1, 0);
    for (const uint32_t code : codes) {
        ++dictionary.rows_below[code + 1];
    }
    std::partial_sum(dictionary.rows_below.begin(), dictionary.rows_below.end(), dictionary.rows_below.begin());
}

}  // namespace

std::unique_ptr<Encoding> make_dict_encoding(ColumnStage &&stage, uint32_t segment_rows) {
    auto made = std::make_unique<DictEncoding>();
    const std::vector<uint32_t> final_code = sort_dictionary(stage.distinct, made->values);
    for (uint32_t &code : stage.codes) {
        code = final_code[code];
    }
    count_rows(stage.codes, made->values);
    const uint32_t width = width_for(made->values.size());
    made->family = {KDZK_CLASS_DICT, width};
    const std::span<const uint32_t> codes = stage.codes;
    for (size_t row = 0; row < codes.size(); row += segment_rows) {
        const std::span<const uint32_t> part = codes.subspan(row, std::min<size_t>(segment_rows, codes.size() - row));
        auto segment = std::make_unique<Segment>();
        segment->stored = pack_codes(part, width);
        segment->seal(static_cast<uint32_t>(part.size()), static_cast<uint8_t>(width));
        made->parts.push_back(std::move(segment));
    }
    return made;
}

}  // namespace qvk
