// Affinities, and predicates made of constraints.
#include "constraint.h"

#include <algorithm>

namespace qvk {
namespace {

// In bytes; well below SQLite's limit, unless that was lowered.
constexpr size_t kLongestPattern = 1000;

// The values that the right-hand side may stand for in a comparison. One if certain.
struct Readings {
    std::vector<Value> values;
    bool certain = true;
    bool complete = true;  // false: there are texts that may equal it and aren't listed
};

bool is_numeric(const ColumnShape &shape) { return shape.affinity > Affinity::text; }

auto first_twin(const ColumnShape &shape, const Value &number) {
    return std::lower_bound(
        shape.twins.begin(), shape.twins.end(), number,
        [](const NumericTwin &twin, const Value &wanted) { return compare(twin.number.view(), wanted.view()) < 0; });
}

bool is_same(const Value &a, const Value &b) { return compare(a.view(), b.view()) == 0; }

// With an expression of numeric affinity on the other side, the column's texts that look like numbers would be
// compared as numbers. Only if none do, and the value doesn't either, is it all one which affinity is meant.
Readings readings_of(const ColumnShape &shape, const Constraint &constraint, sqlite3_value *value) {
    if (is_numeric(shape)) {
        return {{numeric_form(value)}};
    }
    Value as_is(view_of(value));
    if (as_is.type == Type::blob || (as_is.type == Type::text && constraint.literal_text)) {
        return {{std::move(as_is)}};
    }
    Value number = numeric_form(value);
    const bool changes_to_text = is_number(as_is.view()) && shape.affinity == Affinity::text;
    const bool changes_to_number = as_is.type == Type::text && is_number(number.view());
    if (shape.twins.empty() && shape.has_all_twins && !changes_to_text && !changes_to_number) {
        return {{std::move(as_is)}};
    }
    Readings readings{{std::move(as_is)}, false, shape.has_all_twins || !is_number(number.view())};
    if (changes_to_text) {
        readings.values.push_back(text_form(value));
    }
    for (auto twin = first_twin(shape, number); twin != shape.twins.end() && is_same(twin->number, number); ++twin) {
        readings.values.push_back(twin->text);
    }
    readings.values.push_back(std::move(number));
    return readings;
}

Predicate equal_to(uint32_t column, std::vector<Value> values) {
    return {.column = column, .kind = Predicate::Kind::any_of, .values = std::move(values), .lower = {}, .upper = {}};
}

Predicate of_kind(uint32_t column, Predicate::Kind kind) {
    return {.column = column, .kind = kind, .values = {}, .lower = {}, .upper = {}};
}

// Numbers would have to be turned into texts first. SQLite looks at whatever passes again, by its own functions.
std::function<bool(const Value &)> pattern_test(Operation operation, std::string pattern) {
    return [operation, pattern = std::move(pattern)](const Value &value) {
        if (value.type != Type::text) {
            return true;
        }
        return (operation == Operation::glob ? sqlite3_strglob(pattern.c_str(), value.bytes.c_str())
                                             : sqlite3_strlike(pattern.c_str(), value.bytes.c_str(), 0))
               == 0;
    };
}

Predicate compared_to(const Constraint &constraint, Value value) {
    const uint32_t column = constraint.column;
    Predicate range = of_kind(column, Predicate::Kind::between);
    switch (constraint.operation) {
    case Operation::lt:
    case Operation::le:
        range.upper = Bound{std::move(value), constraint.operation == Operation::le};
        return range;
    case Operation::gt:
    case Operation::ge:
        range.lower = Bound{std::move(value), constraint.operation == Operation::ge};
        return range;
    case Operation::ne:
        range.kind = Predicate::Kind::none_of;
        range.values.push_back(std::move(value));
        return range;
    case Operation::is_null:
        return of_kind(column, Predicate::Kind::is_null);
    case Operation::not_null:
        return of_kind(column, Predicate::Kind::not_null);
    case Operation::like:
    case Operation::glob:
        return of_kind(column, Predicate::Kind::passing);
    case Operation::eq:
    case Operation::is:
    case Operation::in:
        break;
    }
    range.kind = Predicate::Kind::any_of;
    range.values.push_back(std::move(value));
    return range;
}

Predicate in_list(const ColumnShape &shape, const Constraint &constraint, sqlite3_value *list) {
    std::vector<Value> wanted;
    bool complete = true;
    sqlite3_value *element = nullptr;
    int result = sqlite3_vtab_in_first(list, &element);
    for (; result == SQLITE_OK && element; result = sqlite3_vtab_in_next(list, &element)) {
        if (sqlite3_value_type(element) != SQLITE_NULL) {
            Readings readings = readings_of(shape, constraint, element);
            complete = complete && readings.complete;
            std::move(readings.values.begin(), readings.values.end(), std::back_inserter(wanted));
        }
    }
    if (result != SQLITE_DONE && result != SQLITE_OK) {
        throw SqlError("cannot read the values of IN");
    }
    return complete ? equal_to(constraint.column, std::move(wanted))
                    : of_kind(constraint.column, Predicate::Kind::not_null);
}

Predicate pattern_predicate(const Constraint &constraint, sqlite3_value *value) {
    Value pattern = text_form(value);
    // SQLite refuses patterns above a limit, and gets to see one only if there are rows to look at.
    if (pattern.type != Type::text || pattern.bytes.size() > kLongestPattern) {
        return of_kind(constraint.column, Predicate::Kind::not_null);
    }
    Predicate predicate = of_kind(constraint.column, Predicate::Kind::passing);
    predicate.passes = pattern_test(constraint.operation, std::move(pattern.bytes));
    return predicate;
}

}  // namespace

std::optional<Operation> operation_of(unsigned char sqlite_operation) {
    switch (sqlite_operation) {
    case SQLITE_INDEX_CONSTRAINT_EQ:
        return Operation::eq;
    case SQLITE_INDEX_CONSTRAINT_NE:
        return Operation::ne;
    case SQLITE_INDEX_CONSTRAINT_LT:
        return Operation::lt;
    case SQLITE_INDEX_CONSTRAINT_LE:
        return Operation::le;
    case SQLITE_INDEX_CONSTRAINT_GT:
        return Operation::gt;
    case SQLITE_INDEX_CONSTRAINT_GE:
        return Operation::ge;
    case SQLITE_INDEX_CONSTRAINT_IS:
        return Operation::is;
    case SQLITE_INDEX_CONSTRAINT_ISNULL:
        return Operation::is_null;
    case SQLITE_INDEX_CONSTRAINT_ISNOTNULL:
        return Operation::not_null;
    case SQLITE_INDEX_CONSTRAINT_LIKE:
        return Operation::like;
    case SQLITE_INDEX_CONSTRAINT_GLOB:
        return Operation::glob;
    }
    return std::nullopt;
}

// SQLite doesn't tell the collation of <>, only of the other operators. No collation tells apart what the bytes don't,
// so the predicate is a superset even then.
bool surely_exact(const ColumnShape &shape, const Constraint &constraint) {
    switch (constraint.operation) {
    case Operation::is_null:
    case Operation::not_null:
        return true;
    case Operation::ne:
        return is_numeric(shape) && !shape.has_texts;
    case Operation::like:
    case Operation::glob:
        return false;
    default:
        return is_numeric(shape) || constraint.literal_text;
    }
}

Predicate predicate_for(const ColumnShape &shape, const Constraint &constraint, sqlite3_value *value) {
    const Operation operation = constraint.operation;
    if (operation == Operation::in) {
        return in_list(shape, constraint, value);
    }
    if (operation == Operation::is_null || operation == Operation::not_null) {
        return compared_to(constraint, {});
    }
    if (sqlite3_value_type(value) == SQLITE_NULL) {
        return operation == Operation::is ? of_kind(constraint.column, Predicate::Kind::is_null)
                                          : equal_to(constraint.column, {});
    }
    if (is_pattern(operation)) {
        return pattern_predicate(constraint, value);
    }
    Readings readings = readings_of(shape, constraint, value);
    if (readings.certain) {
        return compared_to(constraint, std::move(readings.values.front()));
    }
    const bool equality = operation == Operation::eq || operation == Operation::is;
    return equality && readings.complete ? equal_to(constraint.column, std::move(readings.values))
                                         : of_kind(constraint.column, Predicate::Kind::not_null);
}

Predicate predicate_shape(const Constraint &constraint) {
    Predicate shape = compared_to(constraint, {});
    if (constraint.operation == Operation::in || is_pattern(constraint.operation)) {
        shape.kind = Predicate::Kind::any_of;
        shape.values.resize(is_pattern(constraint.operation) ? kManyValues : 2);
    }
    return shape;
}

}  // namespace qvk
