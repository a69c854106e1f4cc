// Building a table.
#include "table.h"

#include <algorithm>

namespace qvk {

uint32_t Table::rows_in_segment(size_t segment) const {
    return static_cast<uint32_t>(std::min<uint64_t>(segment_rows, row_count - segment * segment_rows));
}

Table TableBuilder::finish(const KernelLibrary *library, const std::vector<std::string> &names, uint32_t segment_rows) {
    Table table{.library = library,
                .ypak_decode = library->ypak_decode,
                .segment_rows = segment_rows,
                .row_count = row_count,
                .columns = {}};
    for (size_t column = 0; column < stages.size(); ++column) {
        const uint64_t source_bytes = stages[column].source_bytes;
        table.columns.push_back(
            {names[column], choose_encoding(std::move(stages[column]), segment_rows), source_bytes});
    }
    return table;
}

}  // namespace qvk
