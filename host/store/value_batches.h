// The values of a scan's rows, a batch at a time: columns with a dictionary are decoded by kernels when the first value
// of a batch is asked for, others row by row.
//
// To the kernels a dictionary is its array of values: symbols of one length, of which they give the addresses.
#pragma once

#include "kernel_runs.h"
#include "table.h"

#include <array>

namespace qvk {

inline constexpr size_t kBatchRows = 512;

// Rows of one segment, ascending: those that are selected from the first of them on, as many as there are.
struct RowBatch {
    size_t segment = 0;
    std::span<const uint32_t> rows;
    const uint64_t *selected = nullptr;
};

class ValueBatches {
  public:
    ValueBatches(const Table &read, KernelRuns &counted) : table(read), runs(counted), columns(read.columns.size()) {}

    // The batch has to stay until the next one is entered.
    void enter(const RowBatch &entered) {
        batch = entered;
        ++number;
    }
    // Of the row at that place in the batch. Throws CallFailed.
    ValueView value(uint32_t column, size_t place) {
        const ColumnBatch &decoded = columns[column];
        return decoded.number == number ? decoded.values[place]->view() : first_value(column, place);
    }

  private:
    struct ColumnBatch {
        uint64_t number = 0;                // of the batch that the values belong to
        std::vector<const Value *> values;  // of columns that were asked for
    };

    const Table &table;
    KernelRuns &runs;
    RowBatch batch;
    uint64_t number = 0;
    std::vector<ColumnBatch> columns;

    // What kernels write besides addresses, and between two of them.
    std::array<uint16_t, kBatchRows> lengths, flags;
    std::array<uint32_t, kBatchRows> codes, runs_of_rows;

    ValueView first_value(uint32_t column, size_t place);
    void decode(uint32_t column, ColumnBatch &into);
};

}  // namespace qvk
