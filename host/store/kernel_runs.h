// Which kernels a scan ran.
#pragma once

#include "kernel_library.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace qvk {

// How often a scan ran one kernel over one column.
struct KernelRuns {
    struct Entry {
        uint32_t column;
        Kernel kernel;
        uint64_t full_scans = 0, selections = 0;  // by each of its bodies, if it tests rows
        uint64_t batches = 0;                     // if it decodes values
    };
    std::vector<Entry> entries;  // in the order in which columns are tested, then that in which they are read

    Entry &of(uint32_t column, const Kernel &kernel) {
        const auto known = std::find_if(entries.begin(), entries.end(), [&](const Entry &entry) {
            return entry.column == column && entry.kernel == kernel;
        });
        return known != entries.end() ? *known : entries.emplace_back(Entry{column, kernel});
    }
};

}  // namespace qvk
