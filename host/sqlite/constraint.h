// From SQLite's constraints to the store's predicates, with the affinities that SQLite would apply.
//
// SQLite hands a constraint's right-hand side over as it is, and doesn't tell what affinity the expression has, which
// decides how both sides are converted before they are compared. So a value has one certain reading or several possible
// ones. With one the predicate is exact; with several it is a superset, and SQLite tests the rows again.
#pragma once

#include "source.h"

#include <optional>

namespace qvk {

enum class Operation : uint8_t { eq, ne, lt, le, gt, ge, is, in, is_null, not_null, like, glob };

struct Constraint {
    uint32_t column = 0;
    Operation operation = Operation::eq;
    bool literal_text = false;  // the right-hand side is a text known when the statement is prepared
};

std::optional<Operation> operation_of(unsigned char sqlite_operation);

inline bool is_pattern(Operation operation) { return operation == Operation::like || operation == Operation::glob; }

// True if the predicate will be exact whatever the value turns out to be.
bool surely_exact(const ColumnShape &shape, const Constraint &constraint);

// What the constraint asks for once its right-hand side is known; for a list, value is as xFilter got it.
Predicate predicate_for(const ColumnShape &shape, const Constraint &constraint, sqlite3_value *value);

// In a plan, for as many as it takes until their number makes no more difference.
inline constexpr size_t kManyValues = 64;

// The predicate with its values left open, for a plan. A pattern stands for many values.
Predicate predicate_shape(const Constraint &constraint);

}  // namespace qvk
