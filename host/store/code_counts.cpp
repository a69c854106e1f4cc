// Unpacking codes by slices and counting them.
#include "code_counts.h"

#include <algorithm>

namespace qvk {
namespace {

// They take 16 KiB, which stays in L1 beside the counts of most dictionaries.
constexpr uint32_t kSliceRows = 4096;

// Without a destructor: a raise jumps over the frame that makes the call.
struct UnpackRun {
    kdzk_vec_fn kernel;
    const kdzk_vec *source;
    kdzk_vec destination;
    kdzk_exec_ctx context;
};

void run_unpack(void *argument) {
    UnpackRun &run = *static_cast<UnpackRun *>(argument);
    run.kernel(&run.destination, run.source, &run.context);
}

// Only a selection ends where the slice is full, so every row is selected.
UnpackRun prepare(const Table &table, const KernelFamily &family, std::vector<uint32_t> &slice,
                  const std::vector<uint64_t> &every_row) {
    const uint32_t slot = kdzk_slot(family.kernel_class, family.width_bits, KDZK_OP_DECODE_UNPACK, KDZK_FORM_PLAIN);
    UnpackRun run{};
    run.kernel = table.library->dispatch_table[slot].vec;
    run.destination.data = slice.data();
    run.destination.row_count = static_cast<uint32_t>(slice.size());
    run.context.host = &table.services->entries;
    run.context.sel_bv = every_row.data();
    run.context.wide_codes = 1;
    return run;
}

}  // namespace

std::vector<uint64_t> count_codes(const Table &table, const Encoding &encoding) {
    const uint64_t most_rows = std::min<uint64_t>(table.segment_rows, table.row_count);
    const std::vector<uint64_t> every_row((most_rows + 63) / 64, ~uint64_t{0});
    std::vector<uint32_t> slice(kSliceRows);
    std::vector<uint64_t> counts(encoding.dictionary()->size());
    UnpackRun run = prepare(table, *encoding.kernels(), slice, every_row);
    for (const auto &segment : encoding.segments()) {
        run.source = &segment->vector;
        for (uint32_t row = 0; row < segment->vector.row_count; row = run.context.row_pos + 1) {
            run.context.row_pos = row;
            call_over(*segment, *table.services, run_unpack, &run);
            for (uint32_t at = 0; at < run.destination.hit_count; ++at) {
                ++counts[slice[at]];
            }
        }
    }
    return counts;
}

}  // namespace qvk
