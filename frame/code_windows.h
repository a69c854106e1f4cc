// code_windows.h: codes in lanes no wider than they need, each at the top of its lane with the first bits of the next
// code behind it. Order doesn't mind what lies behind.
//
// Where a code lies across bytes, the plan compares it in place in a lane twice as wide. Windows take twice as many
// codes in a vector: multiplications move each code up by its offset in its first byte, which drops the code before it.
#pragma once

#include <bit>
#include <type_traits>

#include "frame/packing.h"
#include "frame/platform.h"
#include "lanes.h"

namespace kdzk {

// Whether the plan's lanes are twice as wide as the smallest lanes that hold a code.
constexpr bool gains_by_windows(int width) {
    int bits = 8;
    while (bits < width)
        bits *= 2;
    return lane_bits(width) > bits && bits <= 16;
}

// One shuffle brings both codes of a pair if two bytes hold them.
constexpr bool pairs_share_bytes(int width) { return fit_in_load(width, 2, sizeof(uint16_t)); }

// Loads no more than it has to, so that a block reads no further behind itself than hosts allow.
template <int kBytesUsed>
inline constexpr int kBytesLoaded = kBytesUsed <= kVectorBytes / 2 ? kVectorBytes / 2 : kVectorBytes;

template <int kBytesUsed>
Lanes<8> load_bytes(const uint8_t *at) {
    if constexpr (kBytesLoaded<kBytesUsed> < kVectorBytes)
        return load_low_half<8>(at);
    else
        return load_lanes<8>(at);
}

// Codes below a byte, sixteen a vector. Of each two bytes the lower one gets its code by the high half of a product,
// the upper one by the low half: what else there is in either half belongs to no one.
template <int kWidth>
struct ByteWindows {
    static constexpr int kBits = 8, kRows = kVectorBytes, kBitsBehind = kBits - kWidth;
    static constexpr int kBytesUsed = kRows * kWidth / 8;
    static_assert(kWidth < 8 && kBytesLoaded<kBytesUsed> - kBytesUsed <= KDZK_DICT_SLACK_BYTES);

    static constexpr bool kPairsShareBytes = pairs_share_bytes(kWidth);
    static constexpr int pair_byte(int code) { return first_byte(kWidth, kPairsShareBytes ? code / 2 * 2 : code); }

    using Control = std::array<uint8_t, kVectorBytes>;

    // Of the even codes (parity 0) or the odd ones, the two bytes from the first one on, in the processor's order.
    static constexpr Control control(int parity) {
        Control control{};
        for (int pair = 0; pair < kRows / 2; ++pair) {
            const int at = pair_byte(2 * pair + parity);
            control[size_t(2 * pair)] = uint8_t(at + 1);
            control[size_t(2 * pair + 1)] = uint8_t(at);
        }
        return control;
    }
    static constexpr auto factors(int parity) {
        std::array<uint16_t, kRows / 2> factors{};
        for (int pair = 0; pair < kRows / 2; ++pair) {
            const int code = 2 * pair + parity, up = code * kWidth - 8 * pair_byte(code);
            factors[size_t(pair)] = uint16_t(1 << (parity == 0 ? up + 8 : up));
        }
        return factors;
    }

    // Of sixteen codes that begin with this byte.
    static Lanes<kBits> load(const uint8_t *group) {
        static constexpr Control kEven = control(0), kOdd = control(1);
        static constexpr auto kEvenFactors = factors(0), kOddFactors = factors(1);
        const Lanes<8> loaded = load_bytes<kBytesUsed>(group);
        const auto even = pick_bytes<16>(loaded, load_lanes<8>(kEven.data()));
        const auto odd = kPairsShareBytes ? even : pick_bytes<16>(loaded, load_lanes<8>(kOdd.data()));
        return bytes_of_two(times_high(even, load_lanes<16>(kEvenFactors.data())),
                            times(odd, load_lanes<16>(kOddFactors.data())));
    }

    // For equality: codes alone, and a code as they have it.
    static Lanes<kBits> load_codes(const uint8_t *group) { return both(load(group), code_lanes(0xFF >> kBitsBehind)); }
    static Lanes<kBits> code_lanes(uint8_t code) { return spread(uint8_t(code << kBitsBehind)); }
};

// Codes of 9 to 15 bits, eight a vector, by two shuffles: of a code's first two bytes, and of the third one, whose top
// bits come in from below.
template <int kWidth>
struct WordWindows {
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

    // A code's offset in its first byte.
    static constexpr int offset(int code) { return code * kWidth % 8; }

    // By its offset a code moves up; the high half of the same product moves the third byte down by what is left of 8.
    static constexpr auto factors() {
        std::array<uint16_t, kRows> factors{};
        for (int code = 0; code < kRows; ++code)
            factors[size_t(code)] = uint16_t(1 << offset(code));
        return factors;
    }

    // Of eight codes that begin with this byte.
    static Lanes<kBits> load(const uint8_t *group) {
        static constexpr auto kFactors = factors();
        const auto [first_two, third] = load_bytes_of_codes(group);
        const Lanes<kBits> factors = load_lanes<kBits>(kFactors.data());
        return either(times(first_two, factors), times_high(third, factors));
    }

    // Codes alone and rotated, which is enough for equality and saves the multiplications: bits in the third byte stay
    // at the top of the lane, where the first byte has another code's.
    static constexpr uint16_t rotated(uint16_t code_bits, int code) {
        return std::rotl(code_bits, kBitsBehind - offset(code));
    }
    static constexpr auto rotations() {
        std::array<uint16_t, kRows> factors{};
        for (int code = 0; code < kRows; ++code)
            factors[size_t(code)] = rotated(1, code);
        return factors;
    }
    static constexpr auto masks(bool of_third_byte) {
        std::array<uint16_t, kRows> masks{};
        for (int code = 0; code < kRows; ++code) {
            const uint16_t first_two = uint16_t(0xFFFF >> offset(code));
            masks[size_t(code)] =
                uint16_t(rotated(0xFFFF >> kBitsBehind, code) & (of_third_byte ? ~first_two : first_two));
        }
        return masks;
    }
    static Lanes<kBits> load_codes(const uint8_t *group) {
        static constexpr auto kFirstTwo = masks(false), kThird = masks(true);
        const auto [first_two, third] = load_bytes_of_codes(group);
        return either(both(first_two, load_lanes<kBits>(kFirstTwo.data())),
                      both(third, load_lanes<kBits>(kThird.data())));
    }
    static Lanes<kBits> code_lanes(uint16_t code) {
        static constexpr auto kRotations = rotations();
        const Lanes<kBits> codes = spread(code), factors = load_lanes<kBits>(kRotations.data());
        return either(times(codes, factors), times_high(codes, factors));
    }

  private:
    struct BytesOfCodes {
        Lanes<kBits> first_two, third;
    };
    static BytesOfCodes load_bytes_of_codes(const uint8_t *group) {
        static constexpr Control kFirstTwo = first_two_bytes(), kThird = third_byte();
        const Lanes<8> loaded = load_lanes<8>(group);
        return {pick_bytes<kBits>(loaded, load_lanes<8>(kFirstTwo.data())),
                pick_bytes<kBits>(loaded, load_lanes<8>(kThird.data()))};
    }
};

template <int kWidth>
using CodeWindows = std::conditional_t<(kWidth < 8), ByteWindows<kWidth>, WordWindows<kWidth>>;

}  // namespace kdzk
