// The values of a column as rows of up to eight bytes that order as the values do, if compared byte by byte with zero
// bytes behind them. Kernels compare such rows in lanes, so no dictionary is needed.
//
// All values but NULLs are of one type. Integers are kept as their distance from the smallest, most significant byte
// first; reals by their bits, turned round where they are negative; texts and blobs as they are.
#pragma once

#include "code_runs.h"
#include "column_stage.h"

#include <algorithm>

namespace qvk {

struct LaneRow {
    uint64_t word = 0;   // the row's bytes from the high end down, zeros behind them
    uint32_t bytes = 1;  // those that aren't zeros at the end, or with keeps_zeros all of a value; at least 1
};

struct LaneValues {
    Type type = Type::null;
    uint32_t row_bytes = 1;          // of the longest row, 1 to 8
    int64_t smallest = 0;            // of integers
    bool has_negative_zero = false;  // of reals: it gets a place of its own below 0.0
    bool keeps_zeros = false;        // zero bytes at the end belong to the value, so that its length counts

    LaneRow row_of(const ValueView &value) const;  // of any value of the column that isn't NULL
    // bytes is where the row's bytes lie, and where those of the value will.
    ValueView value_of(const LaneRow &row, const uint8_t *bytes) const;
};

// What became of the attempt to lay out a column so.
struct LaneStudy {
    LaneValues values;
    const char *obstacle = nullptr;  // set: it can't be done, and this is what the column holds
    uint64_t value_bytes = 0;        // sum over rows of what LaneRow counts, NULL as a row of one byte
};

LaneStudy study_lanes(const ColumnStage &stage);

// The narrowest lane with kernels that holds a row, in bytes: 1, 2, 4 or 8.
inline uint32_t lane_bytes_for(uint32_t row_bytes) { return row_bytes <= 2 ? row_bytes : row_bytes <= 4 ? 4 : 8; }

// The same with lengths that vary: 2, 4 or 8.
inline uint32_t dynp_lane_bytes_for(uint32_t row_bytes) { return std::max(2u, lane_bytes_for(row_bytes)); }

}  // namespace qvk
