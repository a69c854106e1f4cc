// operators.h: the ten comparison operators, one row each. What an operator means for one row and how lanes are tested
// both derive from its row.
#pragma once

#include "frame/catalog.h"

namespace kdzk {

// How a key bounds the values that pass: not at all, itself left out, itself included.
enum class Bound : uint8_t { none, open, closed };

// The first ten operations.
enum class Operator : uint8_t { eq, lt, gt, le, ge, ne, gt_lt, gt_le, ge_lt, ge_le };

struct OperatorRow {
    Bound lower, upper;
    bool equality;      // compares for equality with the one key instead of bounding
    bool complemented;  // passes what the rest of the row doesn't
};

inline constexpr OperatorRow kOperators[] = {
    {Bound::none, Bound::none, true, false},       // eq
    {Bound::none, Bound::open, false, false},      // lt
    {Bound::open, Bound::none, false, false},      // gt
    {Bound::none, Bound::closed, false, false},    // le
    {Bound::closed, Bound::none, false, false},    // ge
    {Bound::none, Bound::none, true, true},        // ne
    {Bound::open, Bound::open, false, false},      // gt_lt
    {Bound::open, Bound::closed, false, false},    // gt_le
    {Bound::closed, Bound::open, false, false},    // ge_lt
    {Bound::closed, Bound::closed, false, false},  // ge_le
};

constexpr const OperatorRow &row_of(Operator op) { return kOperators[size_t(op)]; }
constexpr Operation operation_of(Operator op) { return Operation(op); }
static_assert(operation_of(Operator::ge_le) == Operation::ge_le
              && std::size(kOperators) == size_t(Operator::ge_le) + 1);

constexpr bool is_range(Operator op) { return row_of(op).lower != Bound::none && row_of(op).upper != Bound::none; }

// The operator whose name the selective body of op carries in its label and message. Kept on purpose: range operators
// name their lower bound's operator alone, and hosts know these texts.
constexpr Operator selective_name_of(Operator op) {
    if (!is_range(op))
        return op;
    return row_of(op).lower == Bound::open ? Operator::gt : Operator::ge;
}

// The operand: both keys of a range; any other operator has its key in both.
template <typename Key>
struct Keys {
    Key lower, upper;
};

// Whether a value passes: the meaning of the operators, on unsigned integers. In the null form 0 is NULL, with which no
// comparison is true.
template <Operator op, Form form, typename Key>
constexpr bool passes(Key value, Keys<Key> keys) {
    constexpr OperatorRow row = row_of(op);
    const bool is_value = form != Form::null || value != 0;
    if constexpr (row.equality)
        return is_value & ((value == keys.lower) != row.complemented);
    const bool above =
        row.lower == Bound::none || (row.lower == Bound::open ? value > keys.lower : value >= keys.lower);
    const bool below =
        row.upper == Bound::none || (row.upper == Bound::open ? value < keys.upper : value <= keys.upper);
    return is_value & above & below;
}

// The same as something to call.
template <Operator op, Form form, typename Key>
constexpr auto row_test(Keys<Key> keys) {
    return [keys](Key value) { return passes<op, form>(value, keys); };
}

// A run of values, bounds included, or none.
template <typename Key>
struct ClosedRange {
    Key first, last;
    bool empty;
};

// The values up to largest that an operator lets pass: every predicate on unsigned integers is a closed range, or the
// complement of one. For ne it is the range of what doesn't pass, and never empty.
template <Operator op, Form form, typename Key>
constexpr ClosedRange<Key> passing_range(Keys<Key> keys, Key largest) {
    constexpr OperatorRow row = row_of(op);
    constexpr Key smallest = form == Form::null ? 1 : 0;
    if constexpr (row.equality)
        return {keys.lower, keys.lower, keys.lower < smallest && !row.complemented};
    // An open bound moves in by one; where there is no value to move to, or the bounds have crossed, nothing passes.
    if ((row.lower == Bound::open && keys.lower >= largest) || (row.upper == Bound::open && keys.upper <= smallest))
        return {0, 0, true};
    const Key above = Key(keys.lower + (row.lower == Bound::open)),
              below = Key(keys.upper - (row.upper == Bound::open));
    const Key first = row.lower == Bound::none || above < smallest ? smallest : above;
    const Key last = row.upper == Bound::none ? largest : below;
    return {first, last, first > last};
}

}  // namespace kdzk
