// Unpacking codes by slices and counting them.
#include "code_counts.h"
#include "decode_run.h"

#include <algorithm>

namespace qvk {
namespace {

// They take 16 KiB, which stays in L1 beside the counts of most dictionaries.
constexpr uint32_t kSliceRows = 4096;

// Of codes from a place on.
void count_slice(std::span<const uint32_t> codes, const Runs &runs, uint32_t place, std::vector<uint64_t> &counts) {
    if (runs.starts.empty()) {
        for (const uint32_t code : codes) {
            ++counts[code];
        }
        return;
    }
    for (const uint32_t code : codes) {
        counts[code] += runs.start(place + 1) - runs.start(place);
        ++place;
    }
}

}  // namespace

std::vector<uint64_t> count_codes(const Table &table, const Encoding &encoding) {
    // Only a selection ends where the slice is full, so every row is selected.
    const uint64_t most_rows = std::min<uint64_t>(table.segment_rows, table.row_count);
    const std::vector<uint64_t> every_row((most_rows + 63) / 64, ~uint64_t{0});
    std::vector<uint32_t> slice(kSliceRows);
    std::vector<uint64_t> counts(encoding.dictionary()->size());

    DecodeRun unpack = prepare_decode(table, *encoding.kernels(), KDZK_OP_DECODE_UNPACK);
    unpack.destination.data = slice.data();
    unpack.destination.row_count = kSliceRows;
    unpack.context.sel_bv = every_row.data();
    unpack.context.wide_codes = 1;
    for (const auto &segment : encoding.segments()) {
        for (uint32_t row = 0; row < segment->vector.row_count; row = unpack.context.row_pos + 1) {
            unpack.context.row_pos = row;
            run_over(*segment, *table.services, unpack);
            count_slice({slice.data(), unpack.destination.hit_count}, segment->runs, row, counts);
        }
    }
    return counts;
}

}  // namespace qvk
