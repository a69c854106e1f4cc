// codes.h: the codes of a block as numbers, one a lane. What predicates compare in place is brought down here: a
// multiplication by a power of two takes every code of a vector to the top of its lane, a shift takes it down.
//
// Five ways, each with the lanes that it ends in:
//
//     8, 16, 32 bits              the elements, in the processor's byte order           lanes of 8, 16, 32 bits
//     1 to 7 bits                 out of windows, brought down                          8
//     1 to 7, 9, 10, 12 bits      cut by the plan in lanes of 16 bits, brought down     16
//     11, 13, 14, 15 bits         out of windows, brought down                          16
//     17 to 20, 24 bits           cut by the plan in lanes of 32 bits, brought down     32
#pragma once

#include "frame/code_windows.h"
#include "frame/element_lanes.h"
#include "frame/plan_lanes.h"
#include "frame/platform.h"
#include "frame/row_fetch.h"
#include "lanes.h"

namespace kdzk {

// Cut by the plan.
template <int kWidth, int kLaneBits>
struct CutCodes {
    using P = Plan<kWidth, kLaneBits>;
    using Constants = PlanLanes<P>;
    static constexpr int kBits = kLaneBits, kRows = P::kLanes;
    static constexpr int kToTop = kBits - kWidth;

    // A code that lies so many places up is multiplied to the top of its lane.
    static constexpr auto factors(int vector) {
        auto factors = P::places(vector);
        for (uint64_t &factor : factors)
            factor = (uint64_t{1} << kToTop) / factor;
        return Constants::as_lanes(factors);
    }
    template <int vector>
    static constexpr auto kFactors = factors(vector);

    static_assert(P::load_at(P::kVectors - 1) + kBytesLoaded<P::kBytesUsed> - P::kBlockBytes <= KDZK_DICT_SLACK_BYTES);

    // Of a vector of the block at which a multiple of eight rows begins.
    template <int vector>
    static Lanes<kBits> codes(const uint8_t *block) {
        constexpr int in_plan = vector % P::kVectors;
        const uint8_t *at = block + vector / P::kVectors * P::kBlockBytes + P::load_at(in_plan);
        const auto shuffled = Constants::template shuffled<in_plan>(load_bytes<P::kBytesUsed>(at));
        // Neighbours' bits need no mask: above the code they are multiplied out of the lane, behind it shifted out.
        if constexpr (!P::kNeedsMask)
            return shuffled;
        else
            return shifted_down<kToTop>(times(shuffled, load_lanes<kBits>(kFactors<P::places_of(in_plan)>.data())));
    }
};

// Out of windows.
template <int kWidth>
struct WindowCodes {
    using Windows = CodeWindows<kWidth>;
    static constexpr int kBits = Windows::kBits, kRows = Windows::kRows;

    template <int vector>
    static Lanes<kBits> codes(const uint8_t *block) {
        return shifted_down<Windows::kBitsBehind>(Windows::load(block + vector * kRows * kWidth / 8));
    }
};

// Elements as they stand, but for their byte order.
template <int kWidth>
struct ElementCodes {
    static constexpr int kBits = kWidth, kRows = kVectorBytes * 8 / kWidth;

    template <int vector>
    static Lanes<kBits> codes(const uint8_t *block) {
        return ElementLanes<kWidth>::template values<true, vector>(block);
    }
};

// In lanes of 16 bits or more, but for elements of 8. Codes that the plan cuts in lanes of 32 bits come through windows
// if they fit into 16.
template <int kWidth>
using CodesOf = std::conditional_t<
    fills_elements(kWidth), ElementCodes<kWidth>,
    std::conditional_t<(lane_bits(kWidth) <= 16), CutCodes<kWidth, 16>,
                       std::conditional_t<(kWidth < 16), WindowCodes<kWidth>, CutCodes<kWidth, 32>>>>;

// In the smallest lanes that hold them.
template <int kWidth>
using SmallestCodesOf = std::conditional_t<(kWidth < 8), WindowCodes<kWidth>, CodesOf<kWidth>>;

}  // namespace kdzk
