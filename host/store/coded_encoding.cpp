// From predicates to kernel calls.
#include "coded_encoding.h"

#include <algorithm>

namespace qvk {

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
    for (const CodeTest &test : tests_for(runs, values)) {
        scan.any_of.push_back(call_for(test));
    }
    return scan;
}

ColumnScan CodedEncoding::scan_for(const Predicate &predicate) const {
    const std::vector<CodeRun> runs = runs_of(predicate, codes(), [this](const Value &value) { return locate(value); });
    ColumnScan scan = scan_for_runs(predicate, runs, codes());
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
