// A conjunction of predicates over a table, answered segment by segment and row by row.
//
//     TableScan scan(table, conjunction);
//     while (scan.advance()) { use(scan.value(column)); }
//
// A segment is scanned when the walk reaches it, so a caller that stops early pays for what it saw.
#pragma once

#include "value_batches.h"

namespace qvk {

class TableScan {
  public:
    TableScan(const Table &scanned, const std::vector<Predicate> &conjunction);
    TableScan(const TableScan &) = delete;
    TableScan &operator=(const TableScan &) = delete;

    // To the next row that passes. False at the end. Throws CallFailed, after which there is nothing more to ask for.
    bool advance();
    // Of the row that the walk is at. Throws CallFailed.
    ValueView value(uint32_t column) { return values.value(column, batch_used - 1); }
    uint64_t table_row() const { return segment() * table.segment_rows + batch[batch_used - 1]; }
    // Goes on while the walk does, and outlives the scan.
    std::shared_ptr<const KernelRuns> kernel_runs() const { return runs; }

  private:
    struct ColumnTest {
        uint32_t column;
        Encoding *encoding;
        ColumnScan scan;

        uint64_t cost() const;
        double rank(uint64_t rows) const;
    };

    const Table &table;
    std::vector<ColumnTest> tests;
    std::shared_ptr<KernelRuns> runs = std::make_shared<KernelRuns>();
    ValueBatches values;

    std::vector<uint64_t> selected, united, single;  // bit vectors over one segment
    size_t at_segment = 0;                           // the segment after the current one
    kdzk_lbiv_ictx ones{};
    std::array<uint32_t, kBatchRows> batch;  // rows of the current segment that passed
    size_t batch_size = 0, batch_used = 0;   // of them the walk is at the last one used

    size_t segment() const { return at_segment - 1; }
    bool fill_batch();
    bool enter_segment();
    void put_in_order();
    void apply(const ColumnTest &test, bool first, uint32_t &hits);
    void apply_kernels(const ColumnTest &test, Segment &source, bool first, uint32_t &hits);
    void burst_runs(const ColumnTest &test, const Segment &source, bool first, uint32_t &hits);
    void apply_filter(const ColumnTest &test, bool first, uint32_t &hits);
    void take_out_strangers(const ColumnTest &test, uint32_t &hits);
    void narrow(std::vector<uint64_t> &found, bool among_selected, uint32_t &hits);
};

}  // namespace qvk
