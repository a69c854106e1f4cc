// lane_test.h: the test of an operator on lanes. An operator lets pass one closed range of codes (ne all but one), and
// a range costs two instructions a vector, whatever its bounds are:
//
//     t = code - first          wraps, so that codes below first become the largest
//     t > last - first          in unsigned order: these are the codes outside
//
// The processor level compares signed only, so the top bit of both sides is flipped. On the left that costs nothing: it
// goes into the constant that is subtracted. Equality needs one instruction. Where a test finds the rows that don't
// pass, the complement is taken of the assembled result words.
//
// The textbook form (flip the top bit of each code, compare with each bound, combine) needs four instructions a vector
// for two bounds, and a copy of the key where it is the greater side.
#pragma once

#include "frame/operators.h"
#include "lanes.h"

namespace kdzk {

template <Operator op, typename Key, int kBits>
struct LaneTest {
    static constexpr bool kEquality = row_of(op).equality;
    static constexpr Key kTopBit = Key(Key{1} << (kBits - 1));

    Lanes<kBits> first;  // the first value that passes, its top bit flipped; of an equality, the key
    Lanes<kBits> span;   // the last value that passes less the first, its top bit flipped
    bool none;           // no value passes

    explicit LaneTest(Keys<Key> keys) {
        const ClosedRange<Key> range = passing_range<op>(keys, Key{0}, Key(~Key{0}));
        none = range.empty;
        first = spread(kEquality ? range.first : Key(range.first ^ kTopBit));
        span = spread(Key((range.last - range.first) ^ kTopBit));
    }

    bool passes_none() const { return none; }

    // All ones in the lanes whose codes equal the key, or lie outside the range.
    Lanes<kBits> operator()(Lanes<kBits> codes) const {
        if constexpr (kEquality)
            return equal(codes, first);
        else
            return greater(minus(codes, first), span);
    }

    // Result words from assembled tests.
    template <typename Word>
    static Word completed(Word word) {
        return kEquality != row_of(op).complemented ? word : Word(~word);
    }
};

}  // namespace kdzk
