// codes.h: the codes of a block as numbers, one a lane. What predicates compare in place is brought down here: a
// multiplication by a power of two takes every code of a vector to the same place, a shift takes it down.
//
// Four ways, each with the lanes that it ends in:
//
//     8, 16, 32 bits              the elements, in the processor's byte order           lanes of 8, 16, 32 bits
//     1 to 7, 9, 10, 12 bits      cut by the plan in lanes of 16 bits, brought down     16
//     11, 13, 14, 15 bits         joined of two shuffles: the code's first two bytes    16
//                                 shifted up, its third shifted down, in lanes of 16
//     17 to 20, 24 bits           cut by the plan in lanes of 32 bits, brought down     32
#pragma once

#include "frame/element_lanes.h"
#include "frame/plan_lanes.h"
#include "frame/platform.h"
#include "frame/row_fetch.h"
#include "lanes.h"

namespace kdzk {

// Loads no more than it has to, so that a block reads no further behind itself than hosts allow.
template <int kBytesUsed>
Lanes<8> load_bytes(const uint8_t *at) {
    if constexpr (kBytesUsed <= kVectorBytes / 2)
        return load_low_half<8>(at);
    else
        return load_lanes<8>(at);
}

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

    static_assert(P::load_at(P::kVectors - 1) + (P::kBytesUsed <= 8 ? 8 : 16) - P::kBlockBytes
                  <= KDZK_DICT_SLACK_BYTES);

    // Of a vector of the block at which a multiple of eight rows begins.
    template <int vector>
    static Lanes<kBits> codes(const uint8_t *block) {
        constexpr int in_plan = vector % P::kVectors;
        const uint8_t *at = block + vector / P::kVectors * P::kBlockBytes + P::load_at(in_plan);
        const auto in_place = Constants::template codes_in_place<in_plan>(load_bytes<P::kBytesUsed>(at));
        if constexpr (!P::kNeedsMask)
            return in_place;
        else
            return shifted_down<kToTop>(times(in_place, load_lanes<kBits>(kFactors<P::places_of(in_plan)>.data())));
    }
};

// Joined in lanes of 16 bits. A group of eight codes takes no more than a load.
template <int kWidth>
struct JoinedCodes {
    static constexpr int kBits = 16, kRows = kGroupCodes;
    static_assert(kWidth > 8 && kWidth < 16 && kVectorBytes - kWidth <= KDZK_DICT_SLACK_BYTES);

    using Control = std::array<uint8_t, kVectorBytes>;
    static constexpr uint8_t kCleared = 0x80;

    // The bits of a code's third byte; none, or fewer than none, if it ends with the second.
    static constexpr int bits_in_third(int code) { return (code + 1) * kWidth - 8 * (first_byte(kWidth, code) + 2); }

    static constexpr Control first_two_bytes() {
        Control control{};
        for (int code = 0; code < kRows; ++code) {
            control[size_t(2 * code)] = uint8_t(first_byte(kWidth, code) + 1);
            control[size_t(2 * code + 1)] = uint8_t(first_byte(kWidth, code));
        }
        return control;
    }
    // On top of a lane, so that the high half of a product is what was shifted down. Of a code without a third byte it
    // is the first two that are shifted down.
    static constexpr Control third_byte() {
        Control control{};
        for (int code = 0; code < kRows; ++code) {
            const bool third = bits_in_third(code) > 0;
            control[size_t(2 * code)] = third ? kCleared : uint8_t(first_byte(kWidth, code) + 1);
            control[size_t(2 * code + 1)] = uint8_t(first_byte(kWidth, code) + (third ? 2 : 0));
        }
        return control;
    }
    static constexpr auto factors_up() {
        std::array<uint16_t, kRows> factors{};
        for (int code = 0; code < kRows; ++code)
            factors[size_t(code)] = uint16_t(bits_in_third(code) < 0 ? 0 : 1 << bits_in_third(code));
        return factors;
    }
    // The high half of a product with 2^k is what 16 - k shifts down.
    static constexpr auto factors_down() {
        std::array<uint16_t, kRows> factors{};
        for (int code = 0; code < kRows; ++code) {
            const int bits = bits_in_third(code);
            factors[size_t(code)] = uint16_t(bits == 0 ? 0 : 1 << (bits > 0 ? bits : 16 + bits));
        }
        return factors;
    }

    template <int vector>
    static Lanes<kBits> codes(const uint8_t *block) {
        static constexpr Control kFirstTwo = first_two_bytes(), kThird = third_byte();
        static constexpr auto kUp = factors_up(), kDown = factors_down();
        const Lanes<8> loaded = load_lanes<8>(block + vector * kWidth);
        const auto up = times(pick_bytes<16>(loaded, load_lanes<8>(kFirstTwo.data())), load_lanes<16>(kUp.data()));
        const auto down =
            times_high(pick_bytes<16>(loaded, load_lanes<8>(kThird.data())), load_lanes<16>(kDown.data()));
        return both(either(up, down), spread(uint16_t((1 << kWidth) - 1)));
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

// Codes that the plan cuts in lanes of 32 bits are joined in 16 if they fit there.
template <int kWidth>
using CodesOf = std::conditional_t<
    fills_elements(kWidth), ElementCodes<kWidth>,
    std::conditional_t<(lane_bits(kWidth) <= 16), CutCodes<kWidth, 16>,
                       std::conditional_t<(kWidth < 16), JoinedCodes<kWidth>, CutCodes<kWidth, 32>>>>;

}  // namespace kdzk
