// A table of the store: columns of equal length, encoded once and read only from then on.
#pragma once

#include "encoding.h"

namespace qvk {

// A multiple of 64. Measured over queries like the demo's: see host/README.md.
inline constexpr uint32_t kSegmentRows = 1u << 16;
// Kernels count a packed segment's bits in 32 bits.
inline constexpr uint32_t kMaxSegmentRows = 1u << 27;

struct Column {
    std::string name;
    std::unique_ptr<Encoding> encoding;
    uint64_t source_bytes = 0;
};

struct Table {
    const KernelLibrary *library = nullptr;
    kdzk_ypak_decode_fn ypak_decode = nullptr;  // the library's, or a decoder of the host's own
    uint32_t segment_rows = kSegmentRows;
    uint64_t row_count = 0;
    std::vector<Column> columns;

    size_t segment_count() const { return (row_count + segment_rows - 1) / segment_rows; }
    uint32_t rows_in_segment(size_t segment) const;
};

// Takes rows and makes a table of them.
struct TableBuilder {
    std::vector<ColumnStage> stages;
    uint64_t row_count = 0;

    explicit TableBuilder(size_t columns) : stages(columns) {}
    void add(size_t column, const ValueView &value) { stages[column].add(value); }
    // Names by column. The builder is used up.
    Table finish(const KernelLibrary *library, const std::vector<std::string> &names, uint32_t segment_rows);
};

}  // namespace qvk
