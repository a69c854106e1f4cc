// A sorted dictionary, global to its column: a value's code is its position.
//
// If the column has NULLs, NULL is code 0. Values of equal rank (1 and 1.0) have neighbouring codes.
#pragma once

#include "code_runs.h"

namespace qvk {

// Values as symbols of the library, found within 4 GiB by their number.
inline constexpr uint32_t kSymbolBytes = sizeof(Value);

struct Dictionary {
    std::vector<Value> values;         // ascending
    std::vector<uint64_t> rows_below;  // by code: how many rows hold a lower one; at the end how many there are

    uint32_t size() const { return static_cast<uint32_t>(values.size()); }
    bool has_null() const { return !values.empty() && values.front().type == Type::null; }
    CodeRange codes() const { return {has_null() ? 1u : 0u, size()}; }  // of values
    bool has_symbols() const { return values.size() <= UINT32_MAX / kSymbolBytes; }
    CodeRange locate(const Value &value) const;
    std::vector<CodeRun> runs_passing(const std::function<bool(const Value &)> &passes) const;
    uint64_t rows() const { return rows_below.back(); }
    uint64_t rows_in(const CodeRun &run) const {
        return rows_below[static_cast<size_t>(run.last) + 1] - rows_below[static_cast<size_t>(run.first)];
    }
};

}  // namespace qvk
