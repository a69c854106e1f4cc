// Dict: a code for each row.
#include "dict_encoding.h"

#include <numeric>

namespace qvk {
namespace {

constexpr uint8_t kSymbolBytesBigEndian[] = {kSymbolBytes / 256, kSymbolBytes % 256};

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

DictEncoding::DictEncoding(ColumnStage &stage) {
    const std::vector<uint32_t> final_code = sort_dictionary(stage.distinct, values);
    for (uint32_t &code : stage.codes) {
        code = final_code[code];
    }
    count_rows(stage.codes, values);
    family = {KDZK_CLASS_DICT, width_for(values.values.size())};
}

void DictEncoding::add_segment(std::span<const uint32_t> codes, Runs runs) {
    Segment &segment = *parts.emplace_back(std::make_unique<Segment>());
    segment.stored = pack_codes(codes, family.width_bits);
    segment.runs = std::move(runs);
    segment.seal(static_cast<uint32_t>(codes.size()), static_cast<uint8_t>(family.width_bits));
    segment.encoding.sym_data = reinterpret_cast<uintptr_t>(values.values.data());
    segment.encoding.sym_len_be = kSymbolBytesBigEndian;
}

uint64_t DictEncoding::bytes() const {
    uint64_t sum = payload_bytes(*this).stored;
    for (const auto &segment : parts) {
        sum += segment->bytes_besides();
    }
    for (const Value &value : values.values) {
        sum += sizeof value + value.bytes.size();
    }
    return sum;
}

KernelCall DictEncoding::call_for(const CodeTest &test) const {
    return {.operation = test.operation,
            .form = values.has_null() && test.operation != KDZK_OP_SET ? KDZK_FORM_NULL : KDZK_FORM_PLAIN,
            .lower_key = static_cast<uint64_t>(test.lower),
            .upper_key = static_cast<uint64_t>(test.upper)};
}

ColumnScan DictEncoding::null_test(bool nulls) const {
    return {ColumnScan::Rows::tested, {KernelCall{.operation = nulls ? KDZK_OP_EQ : KDZK_OP_GT}}};
}

std::unique_ptr<Encoding> make_dict_encoding(ColumnStage &&stage, uint32_t segment_rows) {
    auto made = std::make_unique<DictEncoding>(stage);
    for_each_segment(stage.codes, segment_rows, [&](std::span<const uint32_t> codes) { made->add_segment(codes, {}); });
    return made;
}

}  // namespace qvk
