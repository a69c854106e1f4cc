// A sorted dictionary, global to its column: a value's code is its position. And what a predicate becomes in it: runs
// of codes.
//
// If the column has NULLs, NULL is code 0. Values of equal rank (1 and 1.0) have neighbouring codes.
#pragma once

#include "predicate.h"

namespace qvk {

struct CodeRun {
    uint32_t first, last;  // both inclusive
    bool operator==(const CodeRun &) const = default;
};

struct Dictionary {
    std::vector<Value> values;         // ascending
    std::vector<uint64_t> rows_below;  // by code: how many rows hold a lower one; at the end how many there are

    uint32_t size() const { return static_cast<uint32_t>(values.size()); }
    bool has_null() const { return !values.empty() && values.front().type == Type::null; }
    uint32_t lowest_code() const { return has_null() ? 1 : 0; }  // of a value
    uint64_t rows() const { return rows_below.back(); }
    uint64_t rows_in(const CodeRun &run) const { return rows_below[run.last + 1] - rows_below[run.first]; }
};

// The codes that pass the predicate: ascending, disjoint, with gaps between them.
std::vector<CodeRun> runs_of(const Dictionary &dictionary, const Predicate &predicate);

// The runs that a predicate of this kind has in a large dictionary with its values well inside.
std::vector<CodeRun> typical_runs(const Predicate &predicate, bool has_null, uint32_t size);

}  // namespace qvk
