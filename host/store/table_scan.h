// A conjunction of predicates over a table, answered segment by segment and row by row.
//
//     TableScan scan(table, conjunction);
//     while (scan.advance()) { use(scan.segment(), scan.row()); }
//
// A segment is scanned when the walk reaches it, so a caller that stops early pays for what it saw.
#pragma once

#include "table.h"

#include <array>

namespace qvk {

// How often a scan ran one kernel over one column, by each of the kernel's bodies.
struct KernelRuns {
    struct Entry {
        uint32_t column, operation, form;
        uint64_t full_scans, selections;
    };
    std::vector<Entry> entries;  // in the order in which the columns are tested

    Entry &of(uint32_t column, const KernelCall &call);
};

class TableScan {
  public:
    TableScan(const Table &scanned, const std::vector<Predicate> &conjunction);
    TableScan(const TableScan &) = delete;
    TableScan &operator=(const TableScan &) = delete;

    // To the next row that passes. False at the end. Throws CallFailed, after which there is nothing more to ask for.
    bool advance();
    size_t segment() const { return at_segment - 1; }
    uint32_t row() const { return at_row; }  // within the segment
    uint64_t table_row() const { return segment() * table.segment_rows + at_row; }
    // Goes on while the walk does, and outlives the scan.
    std::shared_ptr<const KernelRuns> kernel_runs() const { return runs; }

  private:
    struct ColumnTest {
        uint32_t column;
        Encoding *encoding;
        ColumnScan scan;

        double rank(uint64_t rows) const;
    };

    const Table &table;
    std::vector<ColumnTest> tests;
    std::shared_ptr<KernelRuns> runs = std::make_shared<KernelRuns>();

    std::vector<uint64_t> selected, united, single;  // bit vectors over one segment
    size_t at_segment = 0;                           // the segment after the current one
    uint32_t at_row = 0;
    kdzk_lbiv_ictx ones{};
    std::array<uint32_t, 512> batch;  // rows of the current segment that passed and weren't delivered
    size_t batch_size = 0, batch_used = 0;
    uint32_t rows_left = 0;  // without tests: rows of the current segment that weren't delivered

    bool advance_untested();
    bool fill_batch();
    bool enter_segment();
    void put_in_order();
    void apply(const ColumnTest &test, bool first, uint32_t &hits);
    void apply_kernels(const ColumnTest &test, Segment &source, bool first, uint32_t &hits);
};

}  // namespace qvk
