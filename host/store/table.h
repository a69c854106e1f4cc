// A table of the store: columns of equal length, encoded once and read only from then on.
#pragma once

#include "encoding.h"
#include "row_hashes.h"

namespace qvk {

// A multiple of 64. Measured over queries like the demo's: see host/README.md.
inline constexpr uint32_t kSegmentRows = 1u << 16;
// Kernels count a packed segment's bits in 32 bits.
inline constexpr uint32_t kMaxSegmentRows = 1u << 27;
// Of decoded payloads: a column of 64 million rows by a byte each.
inline constexpr uint64_t kMemoryLimit = 64u << 20;

// How a table is to be made.
struct TableOptions {
    uint32_t segment_rows = kSegmentRows;
    bool compress = false;                 // payloads are to be stored compressed where that pays
    uint64_t memory_limit = kMemoryLimit;  // of decoded payloads held at once, in bytes
};

struct Column {
    std::string name;
    std::unique_ptr<Encoding> encoding;
    uint64_t source_bytes = 0;
    std::unique_ptr<RowHashes> hashes = std::make_unique<RowHashes>();
};

struct Table {
    const KernelLibrary *library = nullptr;
    uint32_t segment_rows = kSegmentRows;
    uint64_t row_count = 0;
    std::vector<Column> columns;
    std::unique_ptr<HostServices> services;  // a decoder of the host's own may be put in

    size_t segment_count() const { return (row_count + segment_rows - 1) / segment_rows; }
    uint32_t rows_in_segment(size_t segment) const;
    ValueView value(size_t column, size_t segment, uint32_t row) const {
        return columns[column].encoding->value(segment, row, *services);
    }
};

// Takes rows and makes a table of them.
struct TableBuilder {
    std::vector<ColumnStage> stages;
    uint64_t row_count = 0;

    explicit TableBuilder(size_t columns) : stages(columns) {}
    void add(size_t column, const ValueView &value) { stages[column].add(value); }
    // Names by column. The builder is used up. CannotEncode if an encoding that was wanted can't hold its column.
    Table finish(const KernelLibrary *library, const std::vector<std::string> &names, const TableOptions &options);
};

// Stores payloads compressed where that pays.
void compress(Table &table);

}  // namespace qvk
