// Where the runs of a segment lie: rows that follow each other with one value.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace qvk {

// As the kernels read them.
struct Runs {
    // Big-endian: the first row of each run, and the row behind the last. Empty where codes are those of rows.
    std::vector<uint32_t> starts;

    uint32_t count() const { return static_cast<uint32_t>(starts.size()) - 1; }
    uint32_t start(uint32_t run) const { return __builtin_bswap32(starts[run]); }
    void add_start(uint32_t row) { starts.push_back(__builtin_bswap32(row)); }
    uint32_t run_of(uint32_t row) const;
    // The runs of ascending rows.
    void find(std::span<const uint32_t> rows, uint32_t *runs) const;
};

}  // namespace qvk
