// Dict: codes of one width into a sorted dictionary.
//
// In a column with NULLs, code 0 is NULL. The _null kernels pass over it, so comparisons needn't keep it out; IS NULL
// and IS NOT NULL are comparisons with 0 by plain kernels. A set of codes simply hasn't got NULL's.
#include "code_stream.h"
#include "coded_encoding.h"

#include <algorithm>
#include <numeric>

namespace qvk {
namespace {

struct DictEncoding final : CodedEncoding {
    Dictionary values;

    std::string_view name() const override { return name_of(EncodingKind::dict); }
    uint32_t width_bits() const override { return family.width_bits; }
    uint64_t bytes() const override;
    ValueView value(size_t segment, uint32_t row, HostServices &services) const override {
        return values.values[code_at(payload_of(*parts[segment], services), family.width_bits, row)].view();
    }
    ValueCounts counts() const override {
        return {values.rows(), values.has_null() ? values.rows_in({0, 0}) : 0, values.size()};
    }
    const Dictionary *dictionary() const override { return &values; }

    CodeRange codes() const override { return values.codes(); }
    CodeRange locate(const Value &value) const override { return values.locate(value); }
    uint64_t rows_in(const CodeRun &run) const override { return values.rows_in(run); }
    KernelCall call_for(const CodeTest &test) const override {
        return {.operation = test.operation,
                .form = values.has_null() && test.operation != KDZK_OP_SET ? KDZK_FORM_NULL : KDZK_FORM_PLAIN,
                .lower_key = static_cast<uint64_t>(test.lower),
                .upper_key = static_cast<uint64_t>(test.upper)};
    }
    ColumnScan null_test(bool nulls) const override {
        return {ColumnScan::Rows::tested, {KernelCall{.operation = nulls ? KDZK_OP_EQ : KDZK_OP_GT}}};
    }
};

uint64_t DictEncoding::bytes() const {
    uint64_t sum = payload_bytes(*this).stored;
    for (const Value &value : values.values) {
        sum += sizeof value + value.bytes.size();
    }
    return sum;
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
