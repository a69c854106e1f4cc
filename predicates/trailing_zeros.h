// trailing_zeros.h: the forms in which zero bytes at a row's end are part of its value. Rows compare by their values
// first and by their lengths' fields then, so that AB comes before AB 00.
//
// Row by row, a value with its field behind it is one number. In blocks, the values are compared in their lanes and
// brought to one byte a row, and the fields are compared where they lie, sixteen at a time. Of an order, what is found
// are the rows that don't pass: those whose value is outside the bounds, and those whose value is a bound and whose
// field is on the wrong side of the bound's.
#pragma once

#include "bitvec/bits.h"
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

template <typename InLanes, Operator op>
struct TrailingZerosTest {
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

    explicit TrailingZerosTest(Keys<typename Split::Joined> keys)
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

    // Bytes compare signed only, so where fields have an order their top bits are flipped.
    static Lanes<8> comparable(Lanes<8> fields) { return kOrdered ? differing(fields, spread(uint8_t{0x80})) : fields; }
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

// The rows of a reader, each with its field behind its value.
template <typename Rows>
struct RowsWithFields {
    using InLanes = typename Rows::InLanes;
    using Split = ValueAndField<InLanes::kBits>;
    using Value = typename Split::Joined;
    using Fields = LengthFields<InLanes::kBits>;
    static constexpr uint32_t kBlockRows = Rows::kBlockRows, kBlockBytes = Rows::kBlockBytes;
    static_assert(kBlockRows == Fields::kBlockBytes * Fields::kRowsAByte);
    template <Operator op>
    using BlockTest = TrailingZerosTest<InLanes, op>;

    Rows rows;
    const uint8_t *lens;
    const uint8_t *next_lens = lens;

    const uint8_t *position() const { return rows.position(); }
    BlockWithFields<InLanes> take_block() {
        const Lanes<8> fields = first_lanes(load<uint32_t>(next_lens));
        next_lens += Fields::kBlockBytes;
        return {rows.take_block(), fields};
    }
    Value value_at(uint32_t row) { return Split::join(rows.value_at(row), Fields::field_at(lens, row)); }

    template <Operator op>
    requires HasTailKeys<Rows, op>
    static Value tail_key(Value key) {
        return Split::join(Rows::template tail_key<op>(Split::value_of(key)), Split::field_of(key));
    }
};

}  // namespace kdzk
