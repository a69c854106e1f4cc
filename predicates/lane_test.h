// lane_test.h: the test of an operator on lanes. An operator lets pass one closed range of codes (ne all but one), and
// a range costs two instructions a vector, whatever its bounds are:
//
//     t = code - first          wraps, so that codes below first become the largest
//     t > last - first          in unsigned order: these are the codes outside
//
// The processor level compares signed only, so the top bit of both sides is flipped. On the left that costs nothing: it
// goes into the constant that is subtracted. Where no code reaches its lane's top bit and one bound is the end of the
// order, a single compare does. Where a test finds the rows that don't pass, the complement is taken of the assembled
// result words.
//
// The textbook form (flip the top bit of each code, compare with each bound, combine) needs four instructions a vector
// for two bounds, and a copy of the key where it is the greater side.
#pragma once

#include "frame/operators.h"
#include "lanes.h"

namespace kdzk {

enum class LaneForm : uint8_t {
    equal,    // to the first value
    above,    // the lanes from the first value on
    past,     // the lanes behind the last value
    outside,  // the lanes below the first value or behind the last
};

// `signed_order`: no code reaches its lane's top bit.
constexpr LaneForm lane_form(Operator op, Form form, bool signed_order) {
    const OperatorRow row = row_of(op);
    if (row.equality)
        return LaneForm::equal;
    if (signed_order && row.upper == Bound::none)
        return LaneForm::above;
    if (signed_order && row.lower == Bound::none && form != Form::null)
        return LaneForm::past;
    return LaneForm::outside;
}

// What ne doesn't let pass is no one range where there are NULLs.
constexpr bool finds_nulls(Operator op, Form form) { return form == Form::null && op == Operator::ne; }

// Built once, before the loop, from the first and the last value that pass as the lanes hold them. Of an equality, both
// are the key.
template <int kBits, LaneForm form>
struct LaneTest {
    Lanes<kBits> low, high;

    LaneTest(Lanes<kBits> first, Lanes<kBits> last) : low(first), high(last) {
        using Value = UnsignedOf<kBits>;
        const Lanes<kBits> top_bits = spread(Value(Value{1} << (kBits - 1)));
        if constexpr (form == LaneForm::above)
            low = minus(first, spread(Value{1}));
        if constexpr (form == LaneForm::outside) {
            low = differing(first, top_bits);
            high = differing(minus(last, first), top_bits);
        }
    }

    // All ones in the lanes that the form names.
    Lanes<kBits> operator()(Lanes<kBits> codes) const {
        if constexpr (form == LaneForm::equal)
            return equal(codes, low);
        else if constexpr (form == LaneForm::above)
            return greater(codes, low);
        else if constexpr (form == LaneForm::past)
            return greater(codes, high);
        else
            return greater(minus(codes, low), high);
    }
};

// Whether the lanes that the form names are those that don't pass.
constexpr bool finds_misses(Operator op, LaneForm form) {
    return row_of(op).complemented || form == LaneForm::past || form == LaneForm::outside;
}

}  // namespace kdzk
