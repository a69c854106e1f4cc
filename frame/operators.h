// operators.h: the ten comparison operators, one row each. What an operator means for one row and how lanes are tested
// both derive from its row.
#pragma once

#include "frame/catalog.h"

namespace kdzk {

// How a key bounds the values that pass: not at all, itself left out, itself included.
enum class Bound : uint8_t { none, open, closed };

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

// Whether a value passes: the meaning of the operators, on unsigned integers.
template <Operator op, typename Key>
constexpr bool passes(Key value, Keys<Key> keys) {
    constexpr OperatorRow row = row_of(op);
    if constexpr (row.equality)
        return (value == keys.lower) != row.complemented;
    const bool above =
        row.lower == Bound::none || (row.lower == Bound::open ? value > keys.lower : value >= keys.lower);
    const bool below =
        row.upper == Bound::none || (row.upper == Bound::open ? value < keys.upper : value <= keys.upper);
    return above & below;
}

// The values that a range operator lets pass, bounds included, unless there are none.
template <typename Key>
struct ClosedRange {
    Key first, last;
    bool empty;
};

template <Operator op, typename Key>
requires(is_range(op)) constexpr ClosedRange<Key> closed_range(Keys<Key> keys) {
    constexpr bool open_below = row_of(op).lower == Bound::open, open_above = row_of(op).upper == Bound::open;
    // An open bound moves in by one; where there is no value to move to, or the bounds have crossed, nothing passes.
    const Key first = Key(keys.lower + open_below), last = Key(keys.upper - open_above);
    const bool overflow = (open_below && first == 0) | (open_above && keys.upper == 0);
    return {first, last, overflow || first > last};
}

}  // namespace kdzk
