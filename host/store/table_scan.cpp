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
    KernelRun run{};
    run.kernel = find_kernel(library, {family, call.operation, call.form});
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
        return width_bits <= 8 ? 24 : 8;
    }
    if (family.kernel_class == KDZK_CLASS_FIXED) {
        return 800 / width_bits;
    }
    if (family.kernel_class == KDZK_CLASS_DYNP) {
        return 1600 / width_bits;
    }
    if (width_bits <= 16 && std::has_single_bit(width_bits)) {
        return 300;
    }
    return width_bits <= 10 || width_bits == 12 ? 150 : 75;
}

// The same for a probe of a filter.
constexpr uint32_t kRowsForOneProbe = 6;

}  // namespace

TableScan::TableScan(const Table &scanned, const std::vector<Predicate> &conjunction)
    : table(scanned), values(scanned, *runs) {
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
    selected.resize(words, ~uint64_t{0});
    for (std::vector<uint64_t> *bits : {&united, &single}) {
        bits->resize(tests.empty() ? 0 : words);
    }
}

// About, in comparisons of a row or run. A test for NULLs costs next to nothing.
uint64_t TableScan::ColumnTest::cost() const {
    if (scan.rows == ColumnScan::Rows::probed) {
        constexpr uint32_t kComparisonsOfAPlainProbe = 32;
        return encoding->kernels() ? values_of_a_filter(*encoding->kernels()) : kComparisonsOfAPlainProbe;
    }
    const bool is_set = !scan.any_of.empty() && scan.any_of.front().operation == KDZK_OP_SET;
    return is_set ? comparisons_of_a_set(*encoding->kernels()) : scan.any_of.size();
}

// The cost of a test for each row that it takes out of the selection.
double TableScan::ColumnTest::rank(uint64_t rows) const {
    uint64_t compared = encoding->segments().empty() ? rows : 0;  // rows or runs
    for (const auto &part : encoding->segments()) {
        compared += part->vector.row_count;
    }
    return static_cast<double>(cost() * compared) / static_cast<double>(rows - scan.hits);
}

// Ascending ranks make the whole the cheapest. A tested column has a row that fails, so no rank is infinite.
void TableScan::put_in_order() {
    std::stable_sort(tests.begin(), tests.end(), [this](const ColumnTest &a, const ColumnTest &b) {
        return a.rank(table.row_count) < b.rank(table.row_count);
    });
    for (const ColumnTest &test : tests) {
        for (const KernelCall &call : test.scan.any_of) {
            runs->of(test.column, {*test.encoding->kernels(), call.operation, call.form});
        }
        if (test.encoding->burst()) {
            runs->of(test.column, *test.encoding->burst());
        }
        if (test.scan.rows == ColumnScan::Rows::probed) {
            runs->of(test.column, kProbe);
        }
    }
}

bool TableScan::advance() {
    if (batch_used == batch_size && !fill_batch()) {
        return false;
    }
    ++batch_used;
    return true;
}

bool TableScan::fill_batch() {
    batch_used = 0;
    batch_size = at_segment > 0 ? table.library->next_ones(&ones, batch.data(), batch.size()) : 0;
    while (batch_size == 0 && at_segment < table.segment_count()) {
        batch_size = enter_segment() ? table.library->next_ones(&ones, batch.data(), batch.size()) : 0;
    }
    values.enter({segment(), {batch.data(), batch_size}, selected.data()});
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
    if (test.scan.rows == ColumnScan::Rows::probed) {
        apply_filter(test, first, hits);
        return;
    }
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

// Each kernel ANDs the selection so far into its own result, so what is left is to OR the results of the calls. Kernels
// over runs know of no rows that are selected.
void TableScan::apply_kernels(const ColumnTest &test, Segment &source, bool first, uint32_t &hits) {
    const KernelFamily &family = *test.encoding->kernels();
    const uint32_t operation = test.scan.any_of.front().operation;
    const uint64_t *selection = first || test.encoding->burst() ? nullptr : selected.data();
    const bool selective = hits < source.vector.row_count / rows_for_one_visit(family, operation);
    for (size_t at = 0; at < test.scan.any_of.size(); ++at) {
        const KernelCall &call = test.scan.any_of[at];
        KernelRun run = prepare(*table.library, family, call, source);
        run.destination.res_bv = at == 0 ? united.data() : single.data();
        run.context.host = &table.services->entries;
        run.context.sel_bv = selection;
        run.context.selective = selective;
        call_over(source, *table.services, run_kernel, &run);
        KernelRuns::Entry &entry = runs->of(test.column, {family, call.operation, call.form});
        ++(run.context.flags & (KDZK_RAN_SELECTIVE | KDZK_RAN_SELECTIVE_SET) ? entry.selections : entry.full_scans);
        hits = run.destination.hit_count;
        if (at > 0) {
            table.library->or_words(united.data(), &hits, united.data(), single.data(), source.vector.row_count);
        }
    }
    if (!test.encoding->burst()) {
        std::swap(selected, united);
    } else if (hits > 0) {
        burst_runs(test, source, first, hits);
    }
}

// Narrows the selection by the rows of the runs in united.
void TableScan::burst_runs(const ColumnTest &test, const Segment &source, bool first, uint32_t &hits) {
    kdzk_vec rows{};
    rows.res_bv = single.data();
    rows.row_count = table.rows_in_segment(segment());
    kdzk_exec_ctx context{};
    context.sel_bv = united.data();
    find_kernel(*table.library, *test.encoding->burst()).vec(&rows, &source.vector, &context);
    ++runs->of(test.column, *test.encoding->burst()).full_scans;
    hits = rows.hit_count;
    narrow(single, first, hits);
}

// By the rows that were found, so many, which may be among the selected ones already.
void TableScan::narrow(std::vector<uint64_t> &found, bool among_selected, uint32_t &hits) {
    if (among_selected) {
        std::swap(selected, found);
    } else {
        const uint32_t rows = table.rows_in_segment(segment());
        table.library->and_words(selected.data(), &hits, selected.data(), found.data(), rows);
    }
}

void TableScan::apply_filter(const ColumnTest &test, bool first, uint32_t &hits) {
    const kdzk_vec hashes = table.columns[test.column].hashes->of(table, test.column, segment());
    const bool selective = !first && hits < hashes.row_count / kRowsForOneProbe;
    std::fill(united.begin(), united.end(), 0);  // a probe adds to what is there
    kdzk_bloom_span span{};
    kdzk_vec found{};
    found.data = &span;
    found.res_bv = united.data();
    kdzk_exec_ctx context{};
    context.sel_bv = selective ? selected.data() : nullptr;
    table.library->probe(&found, &hashes, &test.scan.wanted->filter(), &context);
    KernelRuns::Entry &entry = runs->of(test.column, kProbe);
    ++(selective ? entry.selections : entry.full_scans);
    hits = found.hit_count;
    narrow(united, first || selective, hits);
    take_out_strangers(test, hits);
}

// Values with the hash of a wanted one aren't all wanted.
void TableScan::take_out_strangers(const ColumnTest &test, uint32_t &hits) {
    for (uint32_t word = 0; word < (table.rows_in_segment(segment()) + 63) / 64; ++word) {
        for (uint64_t left = selected[word]; left != 0; left &= left - 1) {
            const uint32_t row = 64 * word + static_cast<uint32_t>(std::countr_zero(left));
            if (!test.scan.wanted->contains(table.value(test.column, segment(), row))) {
                selected[word] &= ~(left & -left);
                --hits;
            }
        }
    }
}

}  // namespace qvk
