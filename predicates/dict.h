// dict.h: dictionary codes. A row holds a small unsigned integer, the code of its value in a dictionary that the host
// keeps; kernels compare codes and never look at the dictionary. Codes are a big-endian bit stream, keys are codes in
// the processor's byte order. In the null form code 0 is NULL.
//
// Four ways into lanes: codes of whole bytes are there as they lie, but for their byte order; packed codes are brought
// there by the plan of packing.h, or through the windows of code_windows.h; codes of one bit are a bit vector already
// (dict_1bit.h).
#pragma once

#include "frame/code_windows.h"
#include "frame/plan_lanes.h"
#include "frame/row_fetch.h"
#include "predicates/range_test.h"

namespace kdzk {

template <int kWidth>
inline constexpr DictCode<kWidth> kLargestCode = DictCode<kWidth>(~uint64_t{0} >> (64 - kWidth));

// How packed codes come into lanes: by the plan.
template <int kWidth>
struct PackedLanes {
    using P = Plan<kWidth>;
    using Constants = PlanLanes<P>;
    using Block = const uint8_t *;
    static constexpr int kBits = P::kLaneBits, kVectors = P::kVectors, kPlaceSets = P::kPlaceSets;
    static constexpr uint32_t kBlockBytes = P::kBlockBytes, kBlockRows = P::kBlockRows;
    static constexpr bool kReachesTopBit = P::kReachesTopBit;
    static constexpr int kBitsBehind = 0;
    static_assert(P::bytes_read_behind_block() <= KDZK_DICT_SLACK_BYTES, "a block reads no further than hosts allow");
    static_assert(P::places_of(P::kVectors - 1) < kPlaceSets, "vectors take turns with two sets of places at most");

    static constexpr int places_of(int vector) { return P::places_of(vector); }

    template <bool ordered, int vector>
    static Lanes<kBits> values(Block block) {
        return Constants::template codes_in_place<vector>(load_lanes<8>(block + P::load_at(vector)));
    }

    // Two byte lanes are multiplied as one of 16 bits: no code is wide enough to carry over. (A key above the largest
    // code may; what block rows answer then isn't promised.)
    template <bool ordered, int set>
    static Lanes<kBits> value_lanes(DictCode<kWidth> value) {
        constexpr int factor_bits = kBits == 8 ? 16 : kBits;
        const auto factors = load_lanes<factor_bits>(Constants::template kPlaces<set>.data());
        return seen_as<kBits>(times(spread(UnsignedOf<factor_bits>(value)), factors));
    }
};

// The same codes through windows.
template <int kWidth>
struct WindowLanes {
    using Windows = CodeWindows<kWidth>;
    using Block = const uint8_t *;
    static constexpr int kBits = Windows::kBits, kBitsBehind = Windows::kBitsBehind;
    static constexpr int kVectors = 64 / Windows::kRows, kPlaceSets = 1;
    static constexpr uint32_t kBlockRows = kVectors * Windows::kRows, kBlockBytes = kBlockRows * kWidth / 8;
    static constexpr bool kReachesTopBit = true;

    static constexpr int places_of(int) { return 0; }

    template <bool ordered, int vector>
    static Lanes<kBits> values(Block block) {
        const uint8_t *const group = block + vector * Windows::kRows * kWidth / 8;
        return ordered ? Windows::load(group) : Windows::load_codes(group);
    }
    template <bool ordered, int>
    static Lanes<kBits> value_lanes(DictCode<kWidth> value) {
        if (ordered)
            return spread(UnsignedOf<kBits>(value << kBitsBehind));
        // A key that no code can be: codes alone have zeros beside them in their lanes.
        if (value > kLargestCode<kWidth>)
            return spread(UnsignedOf<kBits>(~0u));
        return Windows::code_lanes(UnsignedOf<kBits>(value));
    }
};

// By the shape of the codes, and by the test: where windows take two shuffles for codes below a byte, the plan is ahead
// as long as it compares once.
template <int kWidth, bool compares_once>
inline constexpr bool kComparesInWindows = gains_by_windows(kWidth)
                                           && (kWidth > 8 || pairs_share_bytes(kWidth) || !compares_once);

template <int kWidth, bool compares_once>
using LanesOfCodes = std::conditional_t<
    fills_elements(kWidth), ElementLanes<kWidth>,
    std::conditional_t<kComparesInWindows<kWidth, compares_once>, WindowLanes<kWidth>, PackedLanes<kWidth>>>;

template <int kWidth, Form form>
struct CodeRows : EvenRows<LanesOfCodes<kWidth, false>, kLargestCode<kWidth>, form, fetch_code<kWidth>> {
    using CodeRows::EvenRows::EvenRows;
    template <Operator op>
    static constexpr bool kComparesOnce = lane_form(op, form, !reaches_top_bit(kWidth)) != LaneForm::outside
                                          && !finds_nulls(op, form);
    template <Operator op>
    using BlockTest = RangeTest<LanesOfCodes<kWidth, kComparesOnce<op>>, kLargestCode<kWidth>, form, op>;
};

template <int kWidth, Form form>
struct Dict {
    using Key = DictCode<kWidth>;
    using Rows = CodeRows<kWidth, form>;

    static constexpr KernelClass kClass = KernelClass::dict;
    static constexpr uint8_t kWidthBits = kWidth;
    static constexpr Form kForm = form;

    static Key read_key(const kdzk_pred *pred) { return load<Key>(pred->data); }

    template <Body, typename Visit>
    [[gnu::always_inline]] static uint32_t with_rows(Source source, Visit visit) {
        return visit(Rows(source.payload));
    }
};

}  // namespace kdzk
