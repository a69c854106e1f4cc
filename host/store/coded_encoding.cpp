// From predicates to kernel calls.
#include "coded_encoding.h"

#include <algorithm>

namespace qvk {

uint32_t comparisons_of_a_set(const KernelFamily &family) {
    const uint32_t width_bits = family.width_bits;
    if (family.kernel_class != KDZK_CLASS_DICT) {
        return UINT32_MAX;
    }
    if (width_bits <= 6) {
        return 3;
    }
    if (width_bits == 8 || width_bits == 16) {
        return 16;
    }
    return width_bits <= 10 || width_bits == 12 ? 10 : 6;
}

ColumnScan CodedEncoding::scan_for_nulls(bool nulls) const {
    const ValueCounts all = counts();
    const uint64_t hits = nulls ? all.nulls : all.rows - all.nulls;
    if (hits == 0) {
        return {ColumnScan::Rows::none, {}};
    }
    if (hits == all.rows) {
        return {ColumnScan::Rows::all, {}};
    }
    ColumnScan scan = null_test(nulls);
    scan.hits = hits;
    return scan;
}

ColumnScan CodedEncoding::scan_for_runs(const Predicate &predicate, const std::vector<CodeRun> &runs,
                                        const CodeRange &values) const {
    if (predicate.kind == Predicate::Kind::is_null) {
        return scan_for_nulls(true);
    }
    if (runs.empty()) {
        return {ColumnScan::Rows::none, {}};
    }
    if (codes_in(runs) == values.end - values.begin) {
        return scan_for_nulls(false);
    }
    ColumnScan scan;
    for (const CodeTest &test : tests_for(runs, values, comparisons_of_a_set(family))) {
        scan.any_of.push_back(call_for(test));
    }
    return scan;
}

std::vector<CodeRun> CodedEncoding::runs_for(const Predicate &predicate) const {
    return predicate.kind == Predicate::Kind::passing
               ? dictionary()->runs_passing(predicate.passes)
               : runs_of(predicate, codes(), [this](const Value &value) { return locate(value); });
}

ColumnScan CodedEncoding::scan_for(const Predicate &predicate) const {
    const std::vector<CodeRun> runs = runs_for(predicate);
    ColumnScan scan = scan_for_runs(predicate, runs, codes());
    for (KernelCall &call : scan.any_of) {
        if (call.operation == KDZK_OP_SET) {
            call.set = set_of(runs, codes().end);
        }
    }
    if (!scan.any_of.empty() && scan.hits == 0) {
        for (const CodeRun &run : runs) {
            scan.hits += rows_in(run);
        }
        scan.hits = std::min(scan.hits, counts().rows - 1);
    }
    return scan;
}

ColumnScan CodedEncoding::typical_scan(const Predicate &predicate) const {
    const CodeRange many{1, 1u << 20};
    return scan_for_runs(predicate, runs_of(predicate, many, typical_places(many)), many);
}

}  // namespace qvk
