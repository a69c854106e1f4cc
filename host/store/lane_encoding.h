// What fixed and dynp have in common: rows of bytes that kernels compare in lanes, NULLs in a bit vector beside them.
//
// A row's code is the number that its bytes make, filled up with zeros to the longest row's length. Where zeros at the
// end belong to a value, the row's length field follows, as in the kernels' order.
#pragma once

#include "coded_encoding.h"

#include <cstring>

namespace qvk {

struct LaneEncoding : CodedEncoding {
    LaneValues values;

    // Takes in the rows of a column that was studied. The family is set.
    void encode(const ColumnStage &stage, const LaneValues &studied, uint32_t segment_rows);

    uint64_t bytes() const override;
    ValueView value(size_t segment, uint32_t row, HostServices &services) const final;
    bool keeps_bytes_in_place() const final { return false; }
    ValueCounts counts() const final { return row_counts; }

  protected:
    struct StoredRow {
        LaneRow row;
        const uint8_t *bytes;
    };
    // Puts rows into the payload and, where the kernels need them, into lens.
    virtual void pack(std::span<const LaneRow> rows, Segment &segment) = 0;
    virtual StoredRow row_at(const uint8_t *payload, size_t segment, uint32_t row) const = 0;

    uint32_t lane_bytes() const { return family.width_bits / 8; }

    CodeRange codes() const final { return value_codes; }
    CodeRange locate(const Value &value) const final;
    uint64_t rows_in(const CodeRun &run) const final;
    KernelCall call_for(const CodeTest &test) const final;
    ColumnScan null_test(bool nulls) const final;

  private:
    CodeRange value_codes{};
    ValueCounts row_counts;
    std::vector<Code> sample;  // ascending; of rows spread evenly over the column

    uint32_t field_bits() const;
    Code code_of(const LaneRow &row) const;
    LaneRow row_of_code(Code code) const;
    void take_in(const ValueView &value, size_t row, std::vector<LaneRow> &rows, Segment &segment);
};

// An encoding of a kind, in lanes of so many bytes.
template <typename Made>
std::unique_ptr<Encoding> make_lane_encoding(const ColumnStage &stage, const LaneValues &values, uint32_t kernel_class,
                                             uint32_t lane_bytes, uint32_t segment_rows) {
    auto made = std::make_unique<Made>();
    made->family = {kernel_class, 8 * lane_bytes};
    made->encode(stage, values, segment_rows);
    return made;
}

// A word from the first bytes at a place, zeros behind them.
inline uint64_t word_at(const uint8_t *place, uint32_t bytes) {
    uint64_t word = 0;
    std::memcpy(&word, place, bytes);
    return __builtin_bswap64(word);
}

// The reverse.
inline void put_word(uint8_t *place, uint64_t word, uint32_t bytes) {
    word = __builtin_bswap64(word);
    std::memcpy(place, &word, bytes);
}

}  // namespace qvk
