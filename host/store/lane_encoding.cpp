// Codes of rows, and what predicates become in them.
#include "lane_encoding.h"

#include <algorithm>
#include <bit>

namespace qvk {
namespace {

// Enough to tell tests that pass a hundredth of the rows from those that pass a tenth.
constexpr size_t kSampleRows = 512;

// The first code of a range for which the condition doesn't hold; it holds for none behind that.
Code first_failing(CodeRange range, const auto &condition) {
    while (range.begin < range.end) {
        const Code middle = range.begin + (range.end - range.begin) / 2;
        if (condition(middle)) {
            range.begin = middle + 1;
        } else {
            range.end = middle;
        }
    }
    return range.begin;
}

}  // namespace

uint32_t LaneEncoding::field_bits() const {
    return values.keeps_zeros ? static_cast<uint32_t>(std::countr_zero(lane_bytes())) : 0;
}

Code LaneEncoding::code_of(const LaneRow &row) const {
    const Code number = row.word >> (64 - 8 * values.row_bytes);
    return number << field_bits() | (values.keeps_zeros ? row.bytes - 1 : 0);
}

LaneRow LaneEncoding::row_of_code(Code code) const {
    const uint64_t number = static_cast<uint64_t>(code >> field_bits());
    const uint32_t field = static_cast<uint32_t>(code) & ((1u << field_bits()) - 1);
    return {number << (64 - 8 * values.row_bytes), field + 1};
}

void LaneEncoding::encode(const ColumnStage &stage, const LaneValues &studied, uint32_t segment_rows) {
    values = studied;
    row_counts = {.rows = stage.rows(), .distinct = stage.distinct_count};
    for (size_t row = 0; row < stage.rows(); ++row) {
        row_counts.nulls += stage.at(row).type == Type::null;
    }
    std::vector<LaneRow> rows;
    for (size_t first = 0; first < stage.rows(); first += segment_rows) {
        const size_t end = std::min<size_t>(first + segment_rows, stage.rows());
        auto segment = std::make_unique<Segment>();
        segment->not_null.resize(row_counts.nulls > 0 ? (end - first + 63) / 64 : 0);
        rows.clear();
        for (size_t row = first; row < end; ++row) {
            take_in(stage.at(row), row, rows, *segment);
        }
        pack(rows, *segment);
        segment->seal(static_cast<uint32_t>(rows.size()), static_cast<uint8_t>(width_bits()));
        parts.push_back(std::move(segment));
    }
    std::sort(sample.begin(), sample.end());
}

void LaneEncoding::take_in(const ValueView &value, size_t row, std::vector<LaneRow> &rows, Segment &segment) {
    if (value.type == Type::null) {
        rows.push_back({});
        return;
    }
    if (!segment.not_null.empty()) {
        segment.not_null[rows.size() / 64] |= uint64_t{1} << rows.size() % 64;
    }
    rows.push_back(values.row_of(value));
    const Code code = code_of(rows.back());
    const bool is_first = value_codes.begin == value_codes.end;
    value_codes = {is_first ? code : std::min(value_codes.begin, code), std::max(value_codes.end, code + 1)};
    if (row % (row_counts.rows / kSampleRows + 1) == 0) {
        sample.push_back(code);
    }
}

uint64_t LaneEncoding::bytes() const {
    uint64_t sum = payload_bytes(*this).stored + sample.size() * sizeof sample[0];
    for (const auto &segment : parts) {
        sum += segment->bytes_besides();
    }
    return sum;
}

ValueView LaneEncoding::value(size_t segment, uint32_t row, HostServices &services) const {
    Segment &part = *parts[segment];
    if (part.is_null(row)) {
        return {};
    }
    const StoredRow stored = row_at(payload_of(part, services), segment, row);
    return values.value_of(stored.row, stored.bytes);
}

// Every code stands for a value, and these never descend. So whatever the wanted value is, its place is found by
// comparing values. Codes of longer rows than a value's own bytes, all zeros, come before those whose lengths fit.
CodeRange LaneEncoding::locate(const Value &wanted) const {
    const auto compared = [&](Code code) {
        const LaneRow row = row_of_code(code);
        uint8_t bytes[8];
        put_word(bytes, row.word, sizeof bytes);
        return compare(values.value_of(row, bytes), wanted.view());
    };
    const Code begin = first_failing(value_codes, [&](Code code) { return compared(code) < 0; });
    const Code end = first_failing({begin, value_codes.end}, [&](Code code) { return compared(code) == 0; });
    return {values.keeps_zeros && begin < end ? end - 1 : begin, end};
}

uint64_t LaneEncoding::rows_in(const CodeRun &run) const {
    const auto begin = std::lower_bound(sample.begin(), sample.end(), run.first);
    const auto end = std::upper_bound(begin, sample.end(), run.last);
    const double share = static_cast<double>(end - begin) / static_cast<double>(std::max<size_t>(sample.size(), 1));
    return static_cast<uint64_t>(share * static_cast<double>(row_counts.rows - row_counts.nulls));
}

KernelCall LaneEncoding::call_for(const CodeTest &test) const {
    const LaneRow lower = row_of_code(test.lower), upper = row_of_code(test.upper);
    return {.operation = test.operation,
            .form = values.keeps_zeros ? KDZK_FORM_TZ : KDZK_FORM_PLAIN,
            .lower_key = __builtin_bswap64(lower.word),
            .upper_key = __builtin_bswap64(upper.word),
            .lower_field = static_cast<uint8_t>(lower.bytes - 1),
            .upper_field = static_cast<uint8_t>(upper.bytes - 1)};
}

ColumnScan LaneEncoding::null_test(bool nulls) const {
    return {nulls ? ColumnScan::Rows::nulls : ColumnScan::Rows::not_nulls, {}};
}

}  // namespace qvk
