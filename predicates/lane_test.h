// lane_test.h: the block test of an operator, derived from its row. The processor level has no unsigned compare, but it
// has a saturating subtraction, which is zero exactly where the first operand doesn't exceed the second. So four tests
// serve all operators, with no bias on codes or keys:
//
//   equal      code = key
//   at most    excess of code over key is zero
//   at least   excess of key over code is zero
//   between    excess of (code - first) over (last - first) is zero; code - first wraps, so that codes below first
//              become large
//
// lt and gt are the complements of ge and le, as ne is of eq; the complement is taken of whole result words. Against
// the textbook form (flip the top bit, compare signed, combine two compares) a range costs two instructions fewer a
// vector and no copies of keys.
#pragma once

#include "frame/operators.h"
#include "lanes.h"

namespace kdzk {

template <Operator op, typename Key, int kBits>
struct LaneTest {
    static constexpr OperatorRow kRow = row_of(op);
    static constexpr bool kRange = is_range(op);
    // One-sided: an open bound is the complement of the closed bound on the other side.
    static constexpr bool kAtMost = kRow.upper == Bound::closed || kRow.lower == Bound::open;
    static constexpr bool kComplemented =
        kRow.complemented || (!kRange && (kRow.upper == Bound::open || kRow.lower == Bound::open));

    Lanes<kBits> key;   // the key; of a range its first value
    Lanes<kBits> span;  // of a range: last value less the first
    bool none;          // of a range: no value lies in it

    explicit LaneTest(Keys<Key> keys) {
        if constexpr (kRange) {
            const ClosedRange<Key> range = closed_range<op>(keys);
            key = spread(range.first);
            span = spread(Key(range.last - range.first));
            none = range.empty;
        } else {
            key = span = spread(keys.lower);
            none = false;
        }
    }

    bool passes_none() const { return none; }

    // All ones in the lanes that pass, before the complement.
    Lanes<kBits> operator()(Lanes<kBits> codes) const {
        if constexpr (kRow.equality)
            return equal(codes, key);
        else if constexpr (kRange)
            return equal(excess(minus(codes, key), span), zero_lanes<kBits>());
        else if constexpr (kAtMost)
            return equal(excess(codes, key), zero_lanes<kBits>());
        else
            return equal(excess(key, codes), zero_lanes<kBits>());
    }

    template <typename Word>
    static Word completed(Word word) {
        return kComplemented ? Word(~word) : word;
    }
};

}  // namespace kdzk
