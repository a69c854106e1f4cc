// Building a table.
#include "table.h"

#include <algorithm>

namespace qvk {
uint32_t Table::rows_in_segment(size_t segment) const {
    return static_cast<uint32_t>(std::min<uint64_t>(segment_rows, row_count - segment * segment_rows));
}

Table TableBuilder::finish(const KernelLibrary *library, const std::vector<std::string> &names,
                           const TableOptions &options) {
    Table table{.library = library,
                .segment_rows = options.segment_rows,
                .row_count = row_count,
                .columns = {},
                .services = std::make_unique<HostServices>(library->ypak_decode, options.memory_limit)};
    for (size_t column = 0; column < stages.size(); ++column) {
        const uint64_t source_bytes = stages[column].source_bytes;
        table.columns.push_back({names[column],
                                 choose_encoding(std::move(stages[column]), names[column], options.segment_rows),
                                 source_bytes});
    }
    return table;
}

void compress(Table &table) {
    for (const Column &column : table.columns) {
        for (const auto &segment : column.encoding->segments()) {
            segment->compress();
            if (segment->is_compressed()) {
                table.services->decoded.add(*segment);
            }
        }
    }
}

}  // namespace qvk
