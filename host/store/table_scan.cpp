// Running the kernels of a conjunction.
#include "table_scan.h"

#include "coded_encoding.h"

#include <algorithm>
#include <bit>
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

// A key is read at the kernel's key width from the low end, which little-endian order puts first; its length field
// where the form has lengths; the width of stored rows, beside the source's, where a kernel serves several.
kdzk_pred operand(const uint64_t &key, const uint8_t &field, const Segment &source) {
    kdzk_pred made{};
    made.data = const_cast<uint64_t *>(&key);
    made.lens = const_cast<uint8_t *>(&field);
    made.enc_ctx = &source.encoding;
    return made;
}

KernelRun prepare(const KernelLibrary &library, const KernelFamily &family, const KernelCall &call,
                  const Segment &source) {
    const uint32_t slot = kdzk_slot(family.kernel_class, family.width_bits, call.operation, call.form);
    KernelRun run{};
    run.kernel = library.dispatch_table[slot];
    run.two_keys = takes_two_keys(call.operation);
    run.source = &source.vector;
    run.destination.row_count = source.vector.row_count;
    run.lower = operand(call.lower_key, call.lower_field, source);
    run.lower.res_bv = const_cast<uint64_t *>(call.set.data());
    run.upper = operand(call.upper_key, call.upper_field, source);
    return run;
}

// How many rows a full scan tests in the time in which the selective body visits one selected row. Measured: see
// host/README.md. It follows the lanes in which rows are compared: for codes of a dictionary 8, 16 or 32 bits. In dynp,
// most of a visit is the way to the row over all rows before it.
uint32_t rows_for_one_visit(const KernelFamily &family, uint32_t operation) {
    const uint32_t width_bits = family.width_bits;
    if (operation == KDZK_OP_SET) {
        return width_bits <= 6 ? 24 : 5;
    }
    if (family.kernel_class == KDZK_CLASS_FIXED) {
        return 800 / width_bits;
    }
    if (family.kernel_class == KDZK_CLASS_DYNP) {
        return 120;
    }
    if (width_bits <= 16 && std::has_single_bit(width_bits)) {
        return 300;
    }
    return width_bits <= 10 || width_bits == 12 ? 150 : 75;
}

}  // namespace

KernelRuns::Entry &KernelRuns::of(uint32_t column, const KernelCall &call) {
    const auto known = std::find_if(entries.begin(), entries.end(), [&](const Entry &entry) {
        return entry.column == column && entry.operation == call.operation && entry.form == call.form;
    });
    return known != entries.end() ? *known : entries.emplace_back(Entry{column, call.operation, call.form, 0, 0});
}

TableScan::TableScan(const Table &scanned, const std::vector<Predicate> &conjunction) : table(scanned) {
    bool nothing = false;
    for (const Predicate &predicate : conjunction) {
        Encoding *encoding = table.columns[predicate.column].encoding.get();
        ColumnScan scan = encoding->scan_for(predicate);
        nothing = nothing || scan.rows == ColumnScan::Rows::none;
        if (scan.rows != ColumnScan::Rows::none && scan.rows != ColumnScan::Rows::all) {
            tests.push_back({predicate.column, encoding, std::move(scan)});
        }
    }
    if (nothing) {
        tests.clear();
        at_segment = table.segment_count();
    }
    put_in_order();
    const size_t words = (std::min<uint64_t>(table.segment_rows, table.row_count) + 63) / 64;
    for (std::vector<uint64_t> *bits : {&selected, &united, &single}) {
        bits->resize(tests.empty() ? 0 : words);
    }
}

// The cost of a test for each row that it takes out of the selection. A test for NULLs costs next to nothing.
double TableScan::ColumnTest::rank(uint64_t rows) const {
    const bool is_set = !scan.any_of.empty() && scan.any_of.front().operation == KDZK_OP_SET;
    const size_t comparisons = is_set ? comparisons_of_a_set(*encoding->kernels()) : scan.any_of.size();
    return static_cast<double>(comparisons) / static_cast<double>(rows - scan.hits);
}

// Ascending ranks make the whole the cheapest. A tested column has a row that fails, so no rank is infinite.
void TableScan::put_in_order() {
    std::stable_sort(tests.begin(), tests.end(), [this](const ColumnTest &a, const ColumnTest &b) {
        return a.rank(table.row_count) < b.rank(table.row_count);
    });
    for (const ColumnTest &test : tests) {
        for (const KernelCall &call : test.scan.any_of) {
            runs->of(test.column, call);
        }
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
    while (batch_size == 0 && at_segment < table.segment_count()) {
        batch_size = enter_segment() ? table.library->next_ones(&ones, batch.data(), batch.size()) : 0;
    }
    return batch_size > 0;
}

// Answers the conjunction over the next segment. False if no row passes.
bool TableScan::enter_segment() {
    const size_t entered = at_segment++;
    uint32_t hits = table.rows_in_segment(entered);
    for (size_t test = 0; test < tests.size(); ++test) {
        apply(tests[test], test == 0, hits);
        if (hits == 0) {
            return false;
        }
    }
    table.library->start_ones(&ones, selected.data(), table.rows_in_segment(entered), 0, 0);
    return true;
}

// Narrows the selection by one column's test.
void TableScan::apply(const ColumnTest &test, bool first, uint32_t &hits) {
    Segment &source = *test.encoding->segments()[segment()];
    if (test.scan.rows == ColumnScan::Rows::tested) {
        apply_kernels(test, source, first, hits);
        return;
    }
    if (first) {
        std::fill(selected.begin(), selected.end(), ~uint64_t{0});
    }
    const auto combine =
        test.scan.rows == ColumnScan::Rows::nulls ? table.library->andnot_words : table.library->and_words;
    combine(selected.data(), &hits, source.not_null.data(), selected.data(), source.vector.row_count);
}

// Each kernel ANDs the selection so far into its own result, so what is left is to OR the results of the calls.
void TableScan::apply_kernels(const ColumnTest &test, Segment &source, bool first, uint32_t &hits) {
    const uint32_t operation = test.scan.any_of.front().operation;
    const bool selective = hits < source.vector.row_count / rows_for_one_visit(*test.encoding->kernels(), operation);
    for (size_t call = 0; call < test.scan.any_of.size(); ++call) {
        KernelRun run = prepare(*table.library, *test.encoding->kernels(), test.scan.any_of[call], source);
        run.destination.res_bv = call == 0 ? united.data() : single.data();
        run.context.host = &table.services->entries;
        run.context.sel_bv = first ? nullptr : selected.data();
        run.context.selective = selective;
        call_over(source, *table.services, run_kernel, &run);
        KernelRuns::Entry &entry = runs->of(test.column, test.scan.any_of[call]);
        ++(run.context.flags & (KDZK_RAN_SELECTIVE | KDZK_RAN_SELECTIVE_SET) ? entry.selections : entry.full_scans);
        hits = run.destination.hit_count;
        if (call > 0) {
            table.library->or_words(united.data(), &hits, united.data(), single.data(), source.vector.row_count);
        }
    }
    std::swap(selected, united);
}

}  // namespace qvk
