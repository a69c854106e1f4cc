// range_test.h: the test of an operator on a block of lanes, and readers of payloads in which every row takes the same
// number of bits.
//
// A way into lanes (InLanes) tells its shape, gives the values of a vector of a block, and puts a value where a
// vector's values are, for each set of places; both for an equality or in the lanes' order (`ordered`), which some ways
// always have. Ordered lanes may have bits of other values behind their own (kBitsBehind): they don't change the order.
#pragma once

#include <algorithm>
#include <type_traits>
#include <utility>

#include "frame/element_lanes.h"
#include "frame/encoding.h"
#include "lanes.h"
#include "predicates/lane_test.h"

namespace kdzk {

// How lanes that a test gave are made narrower, one way for what it found and one for numbers (lanes.h).
inline constexpr auto kNarrowFindings = [](auto a, auto b) { return narrow(a, b); };
inline constexpr auto kNarrowNumbers = [](auto a, auto b) { return narrow_near_zero(a, b); };

// The lanes of sixteen rows, or fewer in the first lanes, one byte lane a row.
template <int kBits, size_t kCount, typename Narrow>
[[gnu::always_inline]] inline Lanes<8> one_byte_a_row(const Lanes<kBits> (&lanes)[kCount], Narrow narrow_pair) {
    if constexpr (kBits == 8) {
        return lanes[0];
    } else {
        constexpr size_t half_count = (kCount + 1) / 2;
        Lanes<kBits / 2> half[half_count];
#pragma GCC unroll 8
        for (size_t i = 0; i < half_count; ++i)
            half[i] = narrow_pair(lanes[2 * i], lanes[kCount == 1 ? 0 : 2 * i + 1]);
        return one_byte_a_row(half, narrow_pair);
    }
}

// How many vectors of a block are gathered at a time.
template <typename InLanes>
inline constexpr int kVectorsAGather = std::min(InLanes::kBits / 8, InLanes::kVectors);

// Calls test(vector number) for the vectors of a gather and brings the lanes that it gives together.
template <typename InLanes, int gather, typename VectorTest, typename Narrow = decltype(kNarrowFindings)>
[[gnu::always_inline]] inline Lanes<8> gathered(VectorTest test, Narrow narrow_pair = kNarrowFindings) {
    constexpr int count = kVectorsAGather<InLanes>;
    return [&]<int... vector>(std::integer_sequence<int, vector...>) __attribute__((always_inline)) {
        const Lanes<InLanes::kBits> lanes[] = {test(std::integral_constant<int, gather * count + vector>())...};
        return one_byte_a_row(lanes, narrow_pair);
    }
    (std::make_integer_sequence<int, count>());
}

// The tests of a block, one for each set of places.
template <typename InLanes, auto largest, Form form, Operator op>
struct RangeTest {
    using Value = decltype(largest);
    static constexpr LaneForm kLaneForm = lane_form(op, form, !InLanes::kReachesTopBit);
    static constexpr bool kOrdered = !row_of(op).equality;
    static constexpr bool kFindsMisses = finds_misses(op, kLaneForm);
    using Test = LaneTest<InLanes::kBits, kLaneForm>;
    static_assert(!kOrdered || InLanes::kBitsBehind == 0 || kLaneForm == LaneForm::outside);

    Test first_places, second_places;  // the same, but where vectors take turns
    bool none;

    explicit RangeTest(ClosedRange<Value> range)
        : first_places(test_at<0>(range)), second_places(test_at<InLanes::kPlaceSets - 1>(range)), none(range.empty) {}

    explicit RangeTest(Keys<Value> keys) : RangeTest(of_codes(passing_range<op, form>(keys, largest))) {}

    // At the top of its lane no value has room for more bits than a code has.
    static ClosedRange<Value> of_codes(ClosedRange<Value> range) {
        if (kOrdered && InLanes::kBitsBehind > 0) {
            range.empty |= range.first > largest;
            range.last = std::min(range.last, largest);
        }
        return range;
    }

    template <int set>
    static Test test_at(ClosedRange<Value> range) {
        constexpr int bits_behind = kOrdered ? InLanes::kBitsBehind : 0;
        const auto behind_last = spread(UnsignedOf<InLanes::kBits>((uint64_t{1} << bits_behind) - 1));
        return Test(InLanes::template value_lanes<kOrdered, set>(range.first),
                    either(InLanes::template value_lanes<kOrdered, set>(range.last), behind_last));
    }

    bool passes_none() const { return none; }

    template <int gather>
    [[gnu::always_inline]] Lanes<8> sixteen_rows(const typename InLanes::Block &block) const {
        const Lanes<8> found = gathered<InLanes, gather>([&]<int vector>(
            std::integral_constant<int, vector>) __attribute__((always_inline)) {
            const auto values = InLanes::template values<kOrdered, vector>(block);
            if constexpr (InLanes::places_of(vector) == 0)
                return first_places(values);
            else
                return second_places(values);
        });
        if constexpr (finds_nulls(op, form))
            return either(found, nulls<gather>(block));
        else
            return found;
    }

    // Found in bytes, once for all vectors of a gather: values become narrower without any but zero becoming zero.
    template <int gather>
    [[gnu::always_inline]] static Lanes<8> nulls(const typename InLanes::Block &block) {
        const Lanes<8> numbers = gathered<InLanes, gather>(
            [&]<int vector>(std::integral_constant<int, vector>)
                __attribute__((always_inline)) { return InLanes::template values<kOrdered, vector>(block); },
            kNarrowNumbers);
        return equal(numbers, spread(uint8_t{0}));
    }
};

// Rows of the same number of bits. kFetch reads one value by its row.
template <typename InLanesOfRows, auto largest, Form form, auto kFetch>
struct EvenRows : EvenBlocks<InLanesOfRows::kBlockBytes> {
    using EvenBlocks<InLanesOfRows::kBlockBytes>::EvenBlocks;
    using InLanes = InLanesOfRows;
    using Value = decltype(largest);
    static constexpr uint32_t kBlockRows = InLanes::kBlockRows;
    template <Operator op>
    using BlockTest = RangeTest<InLanes, largest, form, op>;

    Value value_at(uint32_t row) const { return kFetch(this->payload, row); }
};

}  // namespace kdzk
