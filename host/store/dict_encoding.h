// Codes of one width into a sorted dictionary: one for each row, or for each run of rows.
//
// In a column with NULLs, code 0 is NULL. The _null kernels pass over it, so comparisons needn't keep it out; IS NULL
// and IS NOT NULL are comparisons with 0 by plain kernels. A set of codes simply hasn't got NULL's.
#pragma once

#include "code_stream.h"
#include "coded_encoding.h"

#include <algorithm>

namespace qvk {

struct DictEncoding : CodedEncoding {
    Dictionary values;

    // Takes the dictionary of a column, after which the stage's codes are places in it.
    explicit DictEncoding(ColumnStage &stage);

    std::string_view name() const override { return name_of(EncodingKind::dict); }
    uint32_t width_bits() const final { return family.width_bits; }
    uint64_t bytes() const final;
    ValueView value(size_t segment, uint32_t row, HostServices &services) const override {
        return value_at(segment, row, services);
    }
    ValueCounts counts() const final {
        return {values.rows(), values.has_null() ? values.rows_in({0, 0}) : 0, values.size()};
    }
    const Dictionary *dictionary() const final { return &values; }

    // Packs the codes of rows, or of runs, into one more segment.
    void add_segment(std::span<const uint32_t> codes, Runs runs);

  protected:
    ValueView value_at(size_t segment, uint32_t place, HostServices &services) const {
        return values.values[code_at(payload_of(*parts[segment], services), family.width_bits, place)].view();
    }

    CodeRange codes() const final { return values.codes(); }
    CodeRange locate(const Value &value) const final { return values.locate(value); }
    uint64_t rows_in(const CodeRun &run) const final { return values.rows_in(run); }
    KernelCall call_for(const CodeTest &test) const final;
    ColumnScan null_test(bool nulls) const final;
};

// Hands the codes of a column's rows over by segments.
void for_each_segment(std::span<const uint32_t> codes, uint32_t segment_rows, const auto &take) {
    for (size_t row = 0; row < codes.size(); row += segment_rows) {
        take(codes.subspan(row, std::min<size_t>(segment_rows, codes.size() - row)));
    }
}

}  // namespace qvk
