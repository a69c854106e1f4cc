// code_windows.h: codes of 9 to 15 bits, eight a vector, each at the top of a lane of 16 bits with the first bits of
// the next one behind it.
//
// Where a code's bits can lie in three bytes, the plan needs lanes of 32 bits to compare it in place. Windows take
// twice as many in a vector, for two shuffles and two multiplications: the code's first two bytes move up by its offset
// in the first, which drops the code before it, and the third byte's top bits come in from below.
#pragma once

#include "frame/packing.h"
#include "frame/platform.h"
#include "lanes.h"

namespace kdzk {

template <int kWidth>
struct CodeWindows {
    static constexpr int kBits = 16, kRows = kGroupCodes;
    static constexpr int kBitsBehind = kBits - kWidth;
    static_assert(kWidth > 8 && kWidth < 16 && kVectorBytes - kWidth <= KDZK_DICT_SLACK_BYTES);

    using Control = std::array<uint8_t, kVectorBytes>;

    // Lane l takes two bytes of its code's, in the processor's order, or one on top of nothing.
    static constexpr Control first_two_bytes() {
        Control control{};
        for (int code = 0; code < kRows; ++code) {
            control[size_t(2 * code)] = uint8_t(first_byte(kWidth, code) + 1);
            control[size_t(2 * code + 1)] = uint8_t(first_byte(kWidth, code));
        }
        return control;
    }
    static constexpr Control third_byte() {
        constexpr uint8_t kCleared = 0x80;
        Control control{};
        for (int code = 0; code < kRows; ++code) {
            control[size_t(2 * code)] = kCleared;
            control[size_t(2 * code + 1)] = uint8_t(first_byte(kWidth, code) + 2);
        }
        return control;
    }
    static_assert(first_byte(kWidth, kRows - 1) + 2 < kVectorBytes);

    // By its offset a code moves up; the high half of the same product moves the third byte down by what is left of 8.
    static constexpr auto factors() {
        std::array<uint16_t, kRows> factors{};
        for (int code = 0; code < kRows; ++code)
            factors[size_t(code)] = uint16_t(1 << code * kWidth % 8);
        return factors;
    }

    // Of eight codes that begin with this byte.
    static Lanes<kBits> load(const uint8_t *group) {
        static constexpr Control kFirstTwo = first_two_bytes(), kThird = third_byte();
        static constexpr auto kFactors = factors();
        const Lanes<8> loaded = load_lanes<8>(group);
        const Lanes<kBits> factors = load_lanes<kBits>(kFactors.data());
        return either(times(pick_bytes<kBits>(loaded, load_lanes<8>(kFirstTwo.data())), factors),
                      times_high(pick_bytes<kBits>(loaded, load_lanes<8>(kThird.data())), factors));
    }
};

}  // namespace kdzk
