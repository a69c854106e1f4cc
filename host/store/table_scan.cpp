// Running the kernels of a conjunction.
#include "table_scan.h"

#include <algorithm>
#include <utility>

namespace qvk {
namespace {

// Everything that one kernel call needs, without a destructor: a raise jumps over the frame that makes the call.
struct KernelRun {
    kdzk_kernel kernel;
    bool two_keys;
    const kdzk_vec *source;
    kdzk_vec destination;
    kdzk_pred lower, upper;
    kdzk_exec_ctx context;
};

void run_kernel(void *argument) {
    KernelRun &run = *static_cast<KernelRun *>(argument);
    if (run.two_keys) {
        run.kernel.range(&run.destination, run.source, &run.lower, &run.upper, &run.context);
    } else {
        run.kernel.key(&run.destination, run.source, &run.lower, &run.context);
    }
}

bool takes_two_keys(uint32_t operation) { return operation >= KDZK_OP_GT_LT && operation <= KDZK_OP_GE_LE; }

// Keys are read at the kernel's key width from the low end, which little-endian order puts first.
void *key_data(const uint64_t &key) { return const_cast<uint64_t *>(&key); }

KernelRun prepare(const KernelLibrary &library, const KernelFamily &family, const KernelCall &call,
                  const Segment &source) {
    const uint32_t slot = kdzk_slot(family.kernel_class, family.width_bits, call.operation, family.form);
    KernelRun run{};
    run.kernel = library.dispatch_table[slot];
    run.two_keys = takes_two_keys(call.operation);
    run.source = &source.vector;
    run.destination.row_count = source.vector.row_count;
    run.lower.data = key_data(call.lower_key);
    run.upper.data = key_data(call.upper_key);
    return run;
}

}  // namespace

TableScan::TableScan(const Table &scanned, const std::vector<Predicate> &conjunction) : table(scanned) {
    set_up_services(services, table.ypak_decode);
    bool nothing = false;
    for (const Predicate &predicate : conjunction) {
        Encoding *encoding = table.columns[predicate.column].encoding.get();
        ColumnScan scan = encoding->scan_for(predicate);
        nothing = nothing || scan.rows == ColumnScan::Rows::none;
        if (scan.rows == ColumnScan::Rows::tested) {
            tests.push_back({encoding, std::move(scan)});
        }
    }
    if (nothing) {
        tests.clear();
        at_segment = table.segment_count();
    }
    const size_t words = (std::min<uint64_t>(table.segment_rows, table.row_count) + 63) / 64;
    for (std::vector<uint64_t> *bits : {&selected, &united, &single}) {
        bits->resize(tests.empty() ? 0 : words);
    }
}

bool TableScan::advance() {
    if (tests.empty()) {
        return advance_untested();
    }
    if (batch_used == batch_size && !fill_batch()) {
        return false;
    }
    at_row = batch[batch_used++];
    return true;
}

bool TableScan::advance_untested() {
    if (rows_left == 0) {
        if (at_segment >= table.segment_count()) {
            return false;
        }
        rows_left = table.rows_in_segment(at_segment++);
        at_row = UINT32_MAX;  // one before the first row
    }
    --rows_left;
    ++at_row;
    return true;
}

bool TableScan::fill_batch() {
    batch_used = 0;
    batch_size = at_segment > 0 ? table.library->next_ones(&ones, batch.data(), batch.size()) : 0;
    while (batch_size == 0 && !failed && at_segment < table.segment_count()) {
        batch_size = enter_segment() ? table.library->next_ones(&ones, batch.data(), batch.size()) : 0;
    }
    return batch_size > 0;
}

// Answers the conjunction over the next segment. False if no row passes or a call failed.
bool TableScan::enter_segment() {
    const size_t entered = at_segment++;
    uint32_t hits = 0;
    for (size_t test = 0; test < tests.size(); ++test) {
        failed = !apply(tests[test], test == 0, hits);
        if (failed || hits == 0) {
            return false;
        }
    }
    table.library->start_ones(&ones, selected.data(), table.rows_in_segment(entered), 0, 0);
    return true;
}

// Narrows the selection by one column's test. Each kernel ANDs the selection so far into its own result, so what is
// left is to OR the results of the calls.
bool TableScan::apply(const ColumnTest &test, bool first, uint32_t &hits) {
    Segment &source = *test.encoding->segment(segment());
    for (size_t call = 0; call < test.scan.any_of.size(); ++call) {
        KernelRun run = prepare(*table.library, *test.encoding->kernels(), test.scan.any_of[call], source);
        run.destination.res_bv = call == 0 ? united.data() : single.data();
        run.context.host = &services.entries;
        run.context.sel_bv = first ? nullptr : selected.data();
        if (!call_guarded(services, run_kernel, &run)) {
            source.drop_decompressed();  // what the failed decoder left behind would pass for a payload
            return false;
        }
        hits = run.destination.hit_count;
        if (call > 0) {
            table.library->or_words(united.data(), &hits, united.data(), single.data(), source.vector.row_count);
        }
    }
    std::swap(selected, united);
    return true;
}

}  // namespace qvk
