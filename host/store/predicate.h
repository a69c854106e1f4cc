// A test on one column in terms of values: what a query asks for, before any encoding turns it into kernel calls.
//
// NULL passes is_null and nothing else.
#pragma once

#include "value.h"

#include <functional>
#include <optional>
#include <vector>

namespace qvk {

struct Bound {
    Value value;
    bool inclusive = true;
};

struct Predicate {
    enum class Kind : uint8_t {
        any_of,   // equal to one of values; none at all if there are none
        none_of,  // equal to none of values
        between,  // within the bounds that are there
        passing,  // one of those that pass; for columns with a dictionary only
        is_null,
        not_null,
    };
    uint32_t column = 0;  // index in the table
    Kind kind = Kind::not_null;
    std::vector<Value> values;
    std::function<bool(const Value &)> passes{};  // asked once for each different value
    std::optional<Bound> lower, upper;
};

// Adds a test to a conjunction. A lower and an upper bound on one column become one range, for one kernel call.
void add_conjunct(std::vector<Predicate> &conjunction, Predicate added);

}  // namespace qvk
