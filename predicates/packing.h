// packing.h: the packing rule, and from it the plan by which the codes of a width are brought into lanes. Kernels that
// cut codes take every constant from here: nothing about a width is typed by hand.
//
// Eight codes of N bits take N bytes and start on a byte, whatever N is. In such a group code j lies in the bytes
// first_byte to last_byte, and shift bits of its last byte lie behind it. Codes are never shifted down: a byte shuffle
// puts a code's bytes into a lane, a mask clears its neighbours' bits, and it is compared where it lies with a key that
// was shifted to the same place. N = 5, codes a to h, the first lanes of a vector of 16-bit lanes:
//
//     payload    aaaaabbb bbcccccd ddddeeee efffffgg ggghhhhh
//     shuffled   00000000aaaaabbb  aaaaabbbbbcccccd  00000000bbcccccd  bbcccccdddddeeee ...
//     masked     00000000aaaaa000  00000bbbbb000000  0000000000ccccc0  0000000ddddd0000 ...
//     key        ........kkkkk...  .....kkkkk......  ..........kkkkk.  .......kkkkk.... ...
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kdzk {

inline constexpr int kGroupCodes = 8;
inline constexpr int kLoadBytes = 16;

// Codes are numbered from a group's start, on into the groups behind it.
constexpr int first_byte(int width, int code) { return code * width / 8; }
constexpr int last_byte(int width, int code) { return ((code + 1) * width - 1) / 8; }
constexpr int shift_of(int width, int code) { return (8 - (code + 1) * width % 8) % 8; }

constexpr int largest_shift(int width) {
    int largest = 0;
    for (int code = 0; code < kGroupCodes; ++code)
        largest = std::max(largest, shift_of(width, code));
    return largest;
}

// The smallest lane that holds every code where it lies.
constexpr int lane_bits(int width) {
    int bits = 8;
    while (width + largest_shift(width) > bits)
        bits *= 2;
    return bits;
}

// Whether a code can reach its lane's top bit. Where none does, lanes are never negative.
constexpr bool reaches_top_bit(int width) { return width + largest_shift(width) == lane_bits(width); }

// Whether so many codes lie within one load, wherever in a group the load begins.
constexpr bool fit_in_load(int width, int codes) {
    for (int code = 0; code < kGroupCodes; code += codes)
        if (last_byte(width, code + codes - 1) - first_byte(width, code) >= kLoadBytes)
            return false;
    return true;
}

// A load serves the most rows, a power of two and at most 32, whose bits lie within it.
constexpr int codes_per_load(int width) {
    int codes = 32;
    while (!fit_in_load(width, codes))
        codes /= 2;
    return codes;
}

// How a block of eight vectors is cut out of the payload. Vectors whose constants agree share them, so that a constant
// takes one register.
template <int kWidth>
struct Plan {
    static constexpr int kLaneBits = lane_bits(kWidth), kLaneBytes = kLaneBits / 8;
    static constexpr int kLanes = kLoadBytes / kLaneBytes;
    static constexpr int kVectors = 8;
    static constexpr int kBlockRows = kVectors * kLanes, kBlockBytes = kBlockRows * kWidth / 8;
    static constexpr bool kReachesTopBit = reaches_top_bit(kWidth);
    // Codes of whole bytes have no neighbours' bits in their lanes: the shuffle clears the rest.
    static constexpr bool kNeedsMask = kWidth % 8 != 0;

    using Control = std::array<uint8_t, kLoadBytes>;
    using LaneValues = std::array<uint64_t, kLanes>;

    static constexpr int first_code(int vector) { return vector * kLanes; }

    // Where the load begins that serves a vector, in bytes from the block's start.
    static constexpr int load_at(int vector) {
        return first_byte(kWidth, first_code(vector) / codes_per_load(kWidth) * codes_per_load(kWidth));
    }

    // Lane l takes its code's bytes, the last byte lowest; its other bytes are cleared.
    static constexpr Control control(int vector) {
        constexpr uint8_t kCleared = 0x80;
        Control control{};
        for (int at = 0; at < kLoadBytes; ++at) {
            const int code = first_code(vector) + at / kLaneBytes;
            const int byte = last_byte(kWidth, code) - at % kLaneBytes;
            control[size_t(at)] = byte < first_byte(kWidth, code) ? kCleared : uint8_t(byte - load_at(vector));
        }
        return control;
    }

    // What a value is multiplied by to stand where the code of each lane does.
    static constexpr LaneValues places(int vector) {
        LaneValues places{};
        for (int lane = 0; lane < kLanes; ++lane)
            places[size_t(lane)] = uint64_t{1} << shift_of(kWidth, first_code(vector) + lane);
        return places;
    }

    // The bits of each lane that belong to its code.
    static constexpr LaneValues masks(int vector) {
        LaneValues masks = places(vector);
        for (uint64_t &lane : masks)
            lane *= (uint64_t{1} << kWidth) - 1;
        return masks;
    }

    // The first vector with the same control, and with the same places and so the same masks and keys.
    static constexpr int control_of(int vector) {
        int same = 0;
        while (control(same) != control(vector))
            ++same;
        return same;
    }
    static constexpr int places_of(int vector) {
        int same = 0;
        while (places(same) != places(vector))
            ++same;
        return same;
    }
    static constexpr int kPlaceSets = kLaneBits == 32 && places_of(1) == 1 ? 2 : 1;

    static constexpr bool stays_within_slack(int slack_bytes) {
        for (int vector = 0; vector < kVectors; ++vector)
            if (load_at(vector) + kLoadBytes > kBlockBytes + slack_bytes || places_of(vector) >= kPlaceSets)
                return false;
        return true;
    }
};

// Telling rows, worked out by hand. z: a cleared byte.
namespace telling_rows {

inline constexpr uint8_t z = 0x80;

constexpr bool block_is(int lane_bits, int rows, int bytes, bool reaches_top_bit, auto plan) {
    return plan.kLaneBits == lane_bits && plan.kBlockRows == rows && plan.kBlockBytes == bytes
           && plan.kReachesTopBit == reaches_top_bit;
}
static_assert(block_is(8, 128, 32, true, Plan<2>()) && block_is(8, 128, 64, true, Plan<4>()));
static_assert(block_is(16, 64, 24, false, Plan<3>()) && block_is(16, 64, 40, false, Plan<5>()));
static_assert(block_is(16, 64, 48, false, Plan<6>()) && block_is(16, 64, 56, false, Plan<7>()));
static_assert(block_is(16, 64, 72, true, Plan<9>()) && block_is(16, 64, 80, true, Plan<10>()));
static_assert(block_is(32, 32, 44, false, Plan<11>()) && block_is(16, 64, 96, true, Plan<12>()));
static_assert(block_is(32, 32, 52, false, Plan<13>()) && block_is(32, 32, 60, false, Plan<15>()));
static_assert(block_is(32, 32, 68, false, Plan<17>()) && block_is(32, 32, 96, false, Plan<24>()));

static_assert(Plan<2>::control(0) == Plan<2>::Control{0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3});
static_assert(Plan<3>::control(0) == Plan<3>::Control{0, z, 0, z, 1, 0, 1, z, 1, z, 2, 1, 2, z, 2, z});
static_assert(Plan<7>::control(0) == Plan<7>::Control{0, z, 1, 0, 2, 1, 3, 2, 4, 3, 5, 4, 6, 5, 6, z});
static_assert(Plan<11>::control(1) == Plan<11>::Control{6, 5, z, z, 8, 7, 6, z, 9, 8, z, z, 10, 9, z, z});
static_assert(Plan<17>::control(1) == Plan<17>::Control{2, 1, 0, z, 4, 3, 2, z, 6, 5, 4, z, 8, 7, 6, z});
static_assert(Plan<19>::control(0) == Plan<19>::Control{2, 1, 0, z, 4, 3, 2, z, 7, 6, 5, 4, 9, 8, 7, z});
static_assert(Plan<19>::control(1) == Plan<19>::Control{2, 1, 0, z, 5, 4, 3, 2, 7, 6, 5, z, 9, 8, 7, z});

static_assert(Plan<3>::masks(0) == Plan<3>::LaneValues{224, 28, 896, 112, 14, 448, 56, 7});
static_assert(Plan<5>::masks(0) == Plan<5>::LaneValues{248, 1984, 62, 496, 3968, 124, 992, 31});
static_assert(Plan<11>::masks(0) == Plan<11>::LaneValues{65504, 8188, 262016, 32752});
static_assert(Plan<11>::masks(1) == Plan<11>::LaneValues{4094, 131008, 16376, 2047});

// Loads of a group too long for one begin in the byte in which its fifth code does.
static_assert(Plan<17>::load_at(1) == 8 && Plan<17>::load_at(2) == 17 && Plan<17>::load_at(7) == 59);
static_assert(Plan<3>::load_at(3) == 0 && Plan<3>::load_at(4) == 12 && Plan<5>::load_at(6) == 30);
// Constants are shared: one control and two sets of places at 17 bits, two controls and one set at 14.
static_assert(Plan<17>::control_of(1) == 0 && Plan<17>::kPlaceSets == 2);
static_assert(Plan<14>::control_of(1) == 1 && Plan<14>::control_of(2) == 0 && Plan<14>::kPlaceSets == 1);

}  // namespace telling_rows

}  // namespace kdzk
