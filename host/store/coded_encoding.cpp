// From predicates to kernel calls.
#include "coded_encoding.h"

#include <algorithm>

namespace qvk {

uint32_t comparisons_of_a_set(const KernelFamily &family) {
    const uint32_t width_bits = family.width_bits;
    if (family.kernel_class != KDZK_CLASS_DICT) {
        return UINT32_MAX;
    }
    if (width_bits <= 8) {
        return 3;
    }
    if (width_bits == 16) {
        return 12;
    }
    return width_bits <= 10 || width_bits == 12 ? 8 : 5;
}

uint32_t values_of_a_filter(const KernelFamily &family) {
    switch (family.kernel_class) {
    case KDZK_CLASS_FIXED:
        return 512 / family.width_bits;
    case KDZK_CLASS_DYNP:
        return 256 / family.width_bits;
    }
    return UINT32_MAX;
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

bool CodedEncoding::is_probed(const Predicate &predicate) const {
    return predicate.kind == Predicate::Kind::any_of && predicate.values.size() >= values_of_a_filter(family);
}

ColumnScan CodedEncoding::scan_for(const Predicate &predicate) const {
    if (is_probed(predicate)) {
        return probe_for(predicate, counts().rows);
    }
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
    if (is_probed(predicate)) {
        return {ColumnScan::Rows::probed, {}};
    }
    const CodeRange many{1, 1u << 20};
    return scan_for_runs(predicate, runs_of(predicate, many, typical_places(many)), many);
}

}  // namespace qvk
