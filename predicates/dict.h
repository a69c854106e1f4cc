// dict.h: dictionary codes. A row holds a small unsigned integer, the code of its value in a dictionary that the host
// keeps; kernels compare codes and never look at the dictionary. Codes are a big-endian bit stream, keys are codes in
// the processor's byte order. In the null form code 0 is NULL.
//
// Three ways into lanes: codes of whole bytes are there as they lie, but for their byte order; packed codes are brought
// there by the plan of packing.h; codes of one bit are a bit vector already (dict_1bit.h).
#pragma once

#include <algorithm>
#include <bit>
#include <utility>

#include "frame/encoding.h"
#include "frame/packing.h"
#include "lanes.h"
#include "predicates/lane_test.h"
#include "predicates/row_fetch.h"

namespace kdzk {

// Whether codes of a width are integers of whole bytes.
constexpr bool fills_elements(int width) { return width >= 8 && std::has_single_bit(unsigned(width)); }

// The key of a width as hosts lay it down: elements have their own size, every other width has 32 bits.
template <int kWidth>
using DictKey = UnsignedOf<fills_elements(kWidth) ? kWidth : 32>;

template <int kWidth>
inline constexpr DictKey<kWidth> kLargestCode = DictKey<kWidth>(~uint64_t{0} >> (64 - kWidth));

// The result of a block: one word, or as many 64-bit words as it has.
template <uint32_t kRows>
struct BlockResult {
    static constexpr uint32_t kWordRows = std::min(kRows, kWordBits);
    using Word = UnsignedOf<int(kWordRows)>;
    Word words[kRows / kWordRows];
};

// The rows whose comparison results one instruction gathers.
inline constexpr int kRowsGathered = kVectorBytes;

// Comparison results of sixteen rows, one byte lane a row.
template <int kBits, size_t kCount>
[[gnu::always_inline]] inline Lanes<8> one_byte_a_row(const Lanes<kBits> (&results)[kCount]) {
    if constexpr (kBits == 8) {
        return results[0];
    } else {
        Lanes<kBits / 2> half[kCount / 2];
#pragma GCC unroll 8
        for (size_t i = 0; i < kCount / 2; ++i)
            half[i] = narrow(results[2 * i], results[2 * i + 1]);
        return one_byte_a_row(half);
    }
}

// A way into lanes tells its shape, gives the codes of a vector of a block, and puts a value where a vector's codes
// are, for each set of places; both for an equality or in the lanes' order (`ordered`), which packed codes always have.
//
// How codes of whole bytes come into lanes: they fill them. Equality is tested on the stored bytes, against a key in
// their order, which costs nothing a block; order needs the lanes' bytes reversed.
template <int kWidth>
struct ElementLanes {
    static constexpr int kBits = kWidth, kVectors = kBlockVectors, kPlaceSets = 1;
    static constexpr uint32_t kBlockBytes = kVectors * kVectorBytes, kBlockRows = kBlockBytes * 8 / kWidth;
    static constexpr bool kReachesTopBit = true;

    static constexpr int places_of(int) { return 0; }

    static constexpr std::array<uint8_t, kVectorBytes> reversal() {
        std::array<uint8_t, kVectorBytes> control{};
        for (int at = 0; at < kVectorBytes; ++at)
            control[size_t(at)] = uint8_t(at ^ (kWidth / 8 - 1));
        return control;
    }

    template <bool ordered>
    static Lanes<kBits> in_order(Lanes<8> stored) {
        static constexpr auto kReversal = reversal();
        if constexpr (ordered && kWidth > 8)
            return pick_bytes<kBits>(stored, load_lanes<8>(kReversal.data()));
        else
            return seen_as<kBits>(stored);
    }

    template <bool ordered, int vector>
    static Lanes<kBits> codes(const uint8_t *block) {
        return in_order<ordered>(load_lanes<8>(block + vector * kVectorBytes));
    }

    template <bool ordered, int set>
    static Lanes<kBits> value_lanes(DictKey<kWidth> value) {
        return in_order<!ordered>(seen_as<8>(spread(value)));
    }
};

// How packed codes come into lanes: by the plan.
template <int kWidth>
struct PackedLanes {
    using P = Plan<kWidth>;
    static constexpr int kBits = P::kLaneBits, kVectors = P::kVectors, kPlaceSets = P::kPlaceSets;
    static constexpr uint32_t kBlockBytes = P::kBlockBytes, kBlockRows = P::kBlockRows;
    static constexpr bool kReachesTopBit = P::kReachesTopBit;
    static_assert(kLoadBytes == kVectorBytes);
    static_assert(P::bytes_read_behind_block() <= KDZK_DICT_SLACK_BYTES, "a block reads no further than hosts allow");
    static_assert(P::places_of(P::kVectors - 1) < kPlaceSets, "vectors take turns with two sets of places at most");

    static constexpr int places_of(int vector) { return P::places_of(vector); }

    // The plan's constants as vectors hold them.
    static constexpr auto as_lanes(const typename P::LaneValues &values) {
        std::array<UnsignedOf<kBits>, P::kLanes> lanes{};
        for (size_t lane = 0; lane < lanes.size(); ++lane)
            lanes[lane] = UnsignedOf<kBits>(values[lane]);
        return lanes;
    }
    template <int vector>
    static constexpr auto kControl = P::control(vector);
    template <int vector>
    static constexpr auto kPlaces = as_lanes(P::places(vector));
    template <int vector>
    static constexpr auto kMasks = as_lanes(P::masks(vector));

    template <bool ordered, int vector>
    static Lanes<kBits> codes(const uint8_t *block) {
        constexpr int load_at = P::load_at(vector);
        const Lanes<8> control = load_lanes<8>(kControl<P::control_of(vector)>.data());
        const Lanes<kBits> shuffled = pick_bytes<kBits>(load_lanes<8>(block + load_at), control);
        if constexpr (!P::kNeedsMask)
            return shuffled;
        else
            return both(shuffled, load_lanes<kBits>(kMasks<P::places_of(vector)>.data()));
    }

    // Two byte lanes are multiplied as one of 16 bits: no code is wide enough to carry over. (A key above the largest
    // code may; what block rows answer then isn't promised.)
    template <bool ordered, int set>
    static Lanes<kBits> value_lanes(DictKey<kWidth> value) {
        constexpr int factor_bits = kBits == 8 ? 16 : kBits;
        const auto factors = load_lanes<factor_bits>(kPlaces<set>.data());
        return seen_as<kBits>(times(spread(UnsignedOf<factor_bits>(value)), factors));
    }
};

// The tests of a block, one for each set of places.
template <typename InLanes, int kWidth, Form form, Operator op>
struct DictBlockTest {
    static constexpr LaneForm kLaneForm = lane_form(op, form, !InLanes::kReachesTopBit);
    static constexpr bool kOrdered = !row_of(op).equality;
    static constexpr bool kFindsMisses = finds_misses(op, kLaneForm);
    using Test = LaneTest<InLanes::kBits, kLaneForm>;

    Test first_places, second_places;  // the same, but where vectors take turns
    bool none;

    explicit DictBlockTest(ClosedRange<DictKey<kWidth>> range)
        : first_places(test_at<0>(range)), second_places(test_at<InLanes::kPlaceSets - 1>(range)), none(range.empty) {}

    explicit DictBlockTest(Keys<DictKey<kWidth>> keys)
        : DictBlockTest(passing_range<op, form>(keys, kLargestCode<kWidth>)) {}

    template <int set>
    static Test test_at(ClosedRange<DictKey<kWidth>> range) {
        return Test(InLanes::template value_lanes<kOrdered, set>(range.first),
                    InLanes::template value_lanes<kOrdered, set>(range.last));
    }

    bool passes_none() const { return none; }

    template <int vector>
    [[gnu::always_inline]] Lanes<InLanes::kBits> test_vector(const uint8_t *block) const {
        const auto codes = InLanes::template codes<kOrdered, vector>(block);
        if constexpr (InLanes::places_of(vector) == 0)
            return first_places(codes);
        else
            return second_places(codes);
    }
};

template <int kWidth, Form form>
struct Dict {
    using InLanes = std::conditional_t<fills_elements(kWidth), ElementLanes<kWidth>, PackedLanes<kWidth>>;
    using Key = DictKey<kWidth>;
    using Block = BlockResult<InLanes::kBlockRows>;

    static constexpr KernelClass kClass = KernelClass::dict;
    static constexpr uint8_t kWidthBits = kWidth;
    static constexpr Form kForm = form;
    static constexpr uint32_t kBlockRows = InLanes::kBlockRows, kBlockBytes = InLanes::kBlockBytes;

    template <Operator op>
    using BlockTest = DictBlockTest<InLanes, kWidth, form, op>;

    static Key read_key(const kdzk_pred *pred) { return load<Key>(pred->data); }

    static Key value_at(const uint8_t *payload, uint32_t row) {
        if constexpr (fills_elements(kWidth))
            return fetch_element<Key>(payload, row);
        else
            return fetch_code<kWidth>(payload, row);
    }

    template <typename Test>
    [[gnu::always_inline]] static Block scan_block(const uint8_t *at, const Test &test) {
        Block block{};
        scan_gathers(at, test, block, std::make_integer_sequence<int, kBlockRows / kRowsGathered>());
        for (auto &word : block.words)
            word = Test::kFindsMisses ? typename Block::Word(~word) : word;
        return block;
    }

  private:
    static constexpr int kVectorsAGather = InLanes::kBits / 8;

    template <typename Test, int... gather>
    [[gnu::always_inline]] static void scan_gathers(const uint8_t *at, const Test &test, Block &block,
                                                    std::integer_sequence<int, gather...>) {
        (scan_gather<gather>(at, test, block, std::make_integer_sequence<int, kVectorsAGather>()), ...);
    }

    // The rows whose bits one instruction gathers. The number of a vector is a constant here, so that the plan's
    // constants for it are.
    template <int gather, typename Test, int... vector>
    [[gnu::always_inline]] static void scan_gather(const uint8_t *at, const Test &test, Block &block,
                                                   std::integer_sequence<int, vector...>) {
        const Lanes<InLanes::kBits> results[] = {test.template test_vector<gather * kVectorsAGather + vector>(at)...};
        constexpr uint32_t row = gather * kRowsGathered;
        using Word = typename Block::Word;
        block.words[row / Block::kWordRows] |= Word(Word(top_bits(one_byte_a_row(results))) << row % Block::kWordRows);
    }
};

}  // namespace kdzk
