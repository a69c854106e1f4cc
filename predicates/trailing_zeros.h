// trailing_zeros.h: the forms in which zero bytes at a row's end are part of its value. Rows compare by their values
// first and by their lengths' fields then, so that AB comes before AB 00.
//
// Row by row, a value with its field behind it is one number. In blocks, the values are dealt with in their lanes and
// brought to one byte a row, and the fields are compared where they lie, sixteen at a time.
//
// For an order, two things must be known of a value: which side of a bound it is on, and whether it is the bound, so
// that its field decides. Both are in its distance from the bound, and a distance becomes narrower without a loss near
// zero: one subtraction and one narrowing give what would take two comparisons, each to be made narrower by itself.
//
//     one bound     value - (bound - 1), at least 0            0 below, 1 at the bound, more behind it
//     two bounds    value - the nearest value between them     0 between, -1 and 1 at a bound, further off outside
//
// Lanes of 64 bits have no instruction for either, and are compared.
#pragma once

#include <algorithm>

#include "bitvec/bits.h"
#include "predicates/block_pairs.h"
#include "predicates/length_fields.h"
#include "predicates/range_test.h"

namespace kdzk {

__extension__ typedef unsigned __int128 uint128_t;

template <int kLaneBits>
struct ValueAndField {
    using Value = UnsignedOf<kLaneBits>;
    using Joined =
        std::conditional_t<kLaneBits == 16, uint32_t, std::conditional_t<kLaneBits == 32, uint64_t, uint128_t>>;
    static constexpr int kFieldBits = 8;

    static constexpr Joined join(Value value, uint8_t field) { return Joined(value) << kFieldBits | field; }
    static constexpr Value value_of(Joined joined) { return Value(joined >> kFieldBits); }
    static constexpr uint8_t field_of(Joined joined) { return uint8_t(joined); }
};

// A key with its length field, or without where there is none.
template <int kLaneBits, bool with_fields>
auto read_lane_key(const kdzk_pred *pred) {
    const auto value = load_be<UnsignedOf<kLaneBits>>(pred->data);
    if constexpr (with_fields)
        return ValueAndField<kLaneBits>::join(value, load<uint8_t>(pred->lens));
    else
        return value;
}

template <typename InLanes>
struct BlockWithFields {
    typename InLanes::Block rows;
    Lanes<8> lens;
};

// Of equality, and of an order by comparisons. Of an order, what is found are the rows that don't pass: those whose
// value is outside the bounds, and those whose value is a bound and whose field is on the wrong side of the bound's.
template <typename InLanes, Operator op>
struct ComparedTest {
    static constexpr int kBits = InLanes::kBits;
    static constexpr OperatorRow kRow = row_of(op);
    static constexpr bool kOrdered = !kRow.equality, kFindsMisses = kOrdered || kRow.complemented;
    using Split = ValueAndField<kBits>;
    using Value = typename Split::Value;
    using Fields = LengthFields<kBits>;
    using Block = BlockWithFields<InLanes>;

    Lanes<kBits> lower, upper;
    Lanes<8> lower_field, upper_field;
    LaneTest<kBits, LaneForm::outside> outside;
    bool none;

    explicit ComparedTest(Keys<typename Split::Joined> keys)
        : lower(value_lanes(first_value(keys))),
          upper(value_lanes(last_value(keys))),
          lower_field(key_field(keys.lower)),
          upper_field(key_field(keys.upper)),
          outside(lower, upper),
          none(first_value(keys) > last_value(keys)) {}

    static Value first_value(Keys<typename Split::Joined> keys) {
        return kOrdered && kRow.lower == Bound::none ? Value(0) : Split::value_of(keys.lower);
    }
    static Value last_value(Keys<typename Split::Joined> keys) {
        return kOrdered && kRow.upper == Bound::none ? Value(~uint64_t{0}) : Split::value_of(keys.upper);
    }
    static Lanes<kBits> value_lanes(Value value) { return InLanes::template value_lanes<kOrdered, 0>(value); }

    static Lanes<8> comparable(Lanes<8> fields) { return kOrdered ? Fields::in_signed_order(fields) : fields; }
    static Lanes<8> key_field(typename Split::Joined key) {
        const auto in_place = Fields::in_place(Split::field_of(key));
        return comparable(load_lanes<8>(in_place.data()));
    }

    bool passes_none() const { return none; }

    template <int gather>
    [[gnu::always_inline]] Lanes<8> sixteen_rows(const Block &block) const {
        const Lanes<8> fields = comparable(Fields::template in_lanes<gather>(block.lens));
        const auto rows_at = [&](Lanes<kBits> key) __attribute__((always_inline)) {
            return test_values<gather>(block, [key](Lanes<kBits> values) { return equal(values, key); });
        };
        if constexpr (!kOrdered) {
            return both(rows_at(lower), equal(fields, lower_field));
        } else {
            Lanes<8> misses = test_values<gather>(block, outside);
            if constexpr (kRow.lower == Bound::open)
                misses = either(misses, without(greater(fields, lower_field), rows_at(lower)));
            if constexpr (kRow.lower == Bound::closed)
                misses = either(misses, both(greater(lower_field, fields), rows_at(lower)));
            if constexpr (kRow.upper == Bound::open)
                misses = either(misses, without(greater(upper_field, fields), rows_at(upper)));
            if constexpr (kRow.upper == Bound::closed)
                misses = either(misses, both(greater(fields, upper_field), rows_at(upper)));
            return misses;
        }
    }

    template <int gather, typename ValueTest>
    [[gnu::always_inline]] static Lanes<8> test_values(const Block &block, const ValueTest &test) {
        return gathered<InLanes, gather>([&]<int vector>(std::integral_constant<int, vector>) __attribute__((
            always_inline)) { return test(InLanes::template values<kOrdered, vector>(block.rows)); });
    }
};

// Where a value with its field stands among all of them: -1 is the place before the first. A key's field beyond the
// range of fields counts as the largest.
template <int kLaneBits>
struct Place {
    using Split = ValueAndField<kLaneBits>;
    using Fields = LengthFields<kLaneBits>;
    int64_t number;

    explicit Place(typename Split::Joined key)
        : number(int64_t{Split::value_of(key)} << Fields::kBits | std::min(Split::field_of(key), Fields::kLargest)) {}
    int64_t value() const { return number >> Fields::kBits; }
    uint8_t field() const { return uint8_t(number & Fields::kLargest); }
};

// What tests of an order by distances have in common: the last place below the rows that pass, and their last one.
template <typename InLanes, Operator op>
struct DistanceTest {
    static constexpr int kBits = InLanes::kBits;
    static constexpr OperatorRow kRow = row_of(op);
    using Fields = LengthFields<kBits>;
    using Key = typename ValueAndField<kBits>::Joined;
    using Block = BlockWithFields<InLanes>;

    Place<kBits> below, last;

    explicit DistanceTest(Keys<Key> keys) : below(keys.lower), last(keys.upper) {
        below.number -= kRow.lower == Bound::closed;
        last.number -= kRow.upper == Bound::open;
    }

    static Lanes<kBits> lanes_of(int64_t value) {
        return InLanes::template value_lanes<true, 0>(UnsignedOf<kBits>(value));
    }

    template <int gather, typename DistanceOf>
    [[gnu::always_inline]] static Lanes<8> distances(const Block &block, const DistanceOf &distance_of) {
        return gathered<InLanes, gather>(
            [&]<int vector>(std::integral_constant<int, vector>) __attribute__((always_inline)) {
                return distance_of(InLanes::template values<true, vector>(block.rows));
            },
            kNarrowNumbers);
    }
};

// Finds the places up to the bound: they have their byte's top bit set. Distances are as good as unsigned here: those
// that reach their lane's top bit reach their byte's.
template <typename InLanes, Operator op>
struct OneBoundTest : DistanceTest<InLanes, op> {
    using Base = DistanceTest<InLanes, op>;
    using Base::kBits, Base::kRow, typename Base::Block, typename Base::Fields;
    static constexpr bool kUpper = kRow.upper != Bound::none, kFindsMisses = !kUpper;

    Lanes<kBits> before_bound;
    Lanes<8> field, found_below;
    bool none;

    explicit OneBoundTest(Keys<typename Base::Key> keys) : Base(keys) {
        const Place<kBits> bound = kUpper ? this->last : this->below;
        // The largest distance that is found: 1. No value lies before 0, so there it is 0, and before the first place
        // it is -1.
        const int64_t furthest = std::min<int64_t>(bound.value(), 1);
        before_bound = this->lanes_of(std::max<int64_t>(bound.value() - 1, 0));
        field = Fields::as_bound(bound.field());
        found_below = spread(uint8_t(0x80 + furthest));
        none = kUpper && furthest < 0;
    }

    bool passes_none() const { return none; }

    template <int gather>
    [[gnu::always_inline]] Lanes<8> sixteen_rows(const Block &block) const {
        // All ones, so -1, where the field is above the bound's: there the largest distance is one too many.
        const Lanes<8> above = Fields::above(Fields::template in_lanes<gather>(block.lens), field);
        const Lanes<8> distances = Base::template distances<gather>(
            block, [this](Lanes<kBits> values) { return minus_to_zero(values, before_bound); });
        return minus_to_zero(plus(found_below, above), distances);
    }
};

// Values between the bounds are those from one behind the lower bound to one before the upper one. Where there are
// none, the value behind the lower bound stands for them, and where it is itself the upper bound or behind it, the
// upper bound's distance is 0 or -1. Distances wrap, and two come near 0 by that. The largest value's is -1 where 0 is
// the first value between, and no field is above that of the place below it. 0's is 1 where the largest value is the
// first one between, and then the upper bound's is no more than 0.
template <typename InLanes, Operator op>
struct TwoBoundsTest : DistanceTest<InLanes, op> {
    using Base = DistanceTest<InLanes, op>;
    using Base::kBits, typename Base::Block, typename Base::Fields;
    static constexpr bool kFindsMisses = true;

    Lanes<kBits> first_between, last_between;
    Lanes<8> below_field, last_field, at_last;
    bool none;

    explicit TwoBoundsTest(Keys<typename Base::Key> keys) : Base(keys) {
        const int64_t first = this->below.value() + 1, last = this->last.value();
        first_between = this->lanes_of(first);
        last_between = this->lanes_of(std::max(first, last - 1));
        below_field = Fields::as_bound(this->below.field());
        last_field = Fields::as_bound(this->last.field());
        at_last = spread(uint8_t(std::min<int64_t>(last - first, 1)));
        none = this->below.number >= this->last.number;
    }

    bool passes_none() const { return none; }

    template <int gather>
    [[gnu::always_inline]] Lanes<8> sixteen_rows(const Block &block) const {
        const Lanes<8> fields = Fields::template in_lanes<gather>(block.lens);
        const Lanes<8> nearest = Fields::above(fields, below_field);
        const Lanes<8> furthest = plus(Fields::above(fields, last_field), at_last);
        const Lanes<8> distances = Base::template distances<gather>(block, [this](Lanes<kBits> values) {
            return minus(values, smaller(larger(values, first_between), last_between));
        });
        return either(greater(nearest, distances), greater(distances, furthest));
    }
};

template <typename InLanes, Operator op>
inline constexpr bool kByDistances = !row_of(op).equality && InLanes::kBits < 64;

template <typename InLanes, Operator op>
using TrailingZerosTest =
    std::conditional_t<!kByDistances<InLanes, op>, ComparedTest<InLanes, op>,
                       std::conditional_t<is_range(op), TwoBoundsTest<InLanes, op>, OneBoundTest<InLanes, op>>>;

// The rows of a reader, each with its field behind its value.
template <typename Rows>
struct RowsWithFields {
    using InLanes = typename Rows::InLanes;
    using Split = ValueAndField<InLanes::kBits>;
    using Value = typename Split::Joined;
    using Fields = LengthFields<InLanes::kBits>;
    static constexpr uint32_t kBlockRows = Rows::kBlockRows, kBlockBytes = Rows::kBlockBytes;
    static constexpr uint32_t kBlockLens = Fields::bytes_of(kBlockRows);
    static_assert(kBlockLens == 4 || kBlockLens == 8, "a block's fields are one load");
    template <Operator op>
    using BlockTest = TrailingZerosTest<InLanes, op>;

    Rows rows;
    const uint8_t *lens;
    const uint8_t *next_lens = lens;

    const uint8_t *position() const { return rows.position(); }
    BlockWithFields<InLanes> take_block() {
        const Lanes<8> fields = first_lanes(load<UnsignedOf<8 * kBlockLens>>(next_lens));
        next_lens += kBlockLens;
        return {rows.take_block(), fields};
    }
    Value value_at(uint32_t row) { return Split::join(rows.value_at(row), Fields::field_at(lens, row)); }

    auto in_pairs() const requires HasEvenBlocks<Rows> {
        return RowsWithFields<RowPairs<Rows>>{RowPairs<Rows>(rows), lens, next_lens};
    }
    void go_on_behind(const RowsWithFields<RowPairs<Rows>> &pairs) { *this = {pairs.rows, lens, pairs.next_lens}; }

    template <Operator op>
    requires HasTailKeys<Rows, op>
    static Value tail_key(Value key) {
        return Split::join(Rows::template tail_key<op>(Split::value_of(key)), Split::field_of(key));
    }
};

}  // namespace kdzk
