// packing.h: the packing rule, and from it the plan by which the codes of a width are brought into lanes. Kernels that
// cut codes take every constant from here: nothing about a width is typed by hand.
//
// Eight codes of N bits take N bytes and start on a byte, whatever N is. In such a group code j lies in the bytes
// first_byte to last_byte, and shift bits of its last byte lie behind it. By the plan codes are never shifted down: a
// byte shuffle puts a code's bytes into a lane, a mask clears its neighbours' bits, and it is compared where it lies
// with a key that was shifted to the same place. (Where that takes lanes of twice the size, code_windows.h has another
// way.) N = 5, codes a to h, the first lanes of a vector of 16-bit lanes:
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
inline constexpr int kBlockVectors = 8;

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
constexpr bool fit_in_load(int width, int codes, int load_bytes) {
    for (int code = 0; code < kGroupCodes; code += codes)
        if (last_byte(width, code + codes - 1) - first_byte(width, code) >= load_bytes)
            return false;
    return true;
}

// A load serves the most codes, a power of two and at most 32, whose bits lie within it.
constexpr int codes_per_load(int width, int load_bytes = kLoadBytes) {
    int codes = 32;
    while (!fit_in_load(width, codes, load_bytes))
        codes /= 2;
    return codes;
}

// How a block of eight vectors is cut out of the payload, into the smallest lanes or larger ones. Vectors whose
// constants agree share them, so that a constant takes one register.
template <int kWidth, int kBitsOfLane = lane_bits(kWidth)>
struct Plan {
    static constexpr int kLaneBits = kBitsOfLane, kLaneBytes = kLaneBits / 8;
    static constexpr int kLanes = kLoadBytes / kLaneBytes;
    static constexpr int kVectors = kBlockVectors;
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
    static constexpr int kPlaceSets = places_of(1) == 1 ? 2 : 1;

    // The bytes of a load that hold codes.
    static constexpr int kBytesUsed = [] {
        int most = 0;
        for (int vector = 0; vector < kVectors; ++vector)
            most = std::max(most, last_byte(kWidth, first_code(vector) + kLanes - 1) + 1 - load_at(vector));
        return most;
    }();

    static constexpr int bytes_read_behind_block() { return load_at(kVectors - 1) + kLoadBytes - kBlockBytes; }
};

// Telling rows, worked out by hand. z: a cleared byte.
namespace telling_rows {

inline constexpr uint8_t z = 0x80;

constexpr bool block_is(auto plan, int lane_bits, int rows, int bytes, bool reaches_top_bit, int read_behind) {
    return plan.kLaneBits == lane_bits && plan.kBlockRows == rows && plan.kBlockBytes == bytes
           && plan.kReachesTopBit == reaches_top_bit && plan.bytes_read_behind_block() == read_behind;
}
static_assert(block_is(Plan<2>(), 8, 128, 32, true, 8) && block_is(Plan<3>(), 16, 64, 24, false, 4));
static_assert(block_is(Plan<4>(), 8, 128, 64, true, 0) && block_is(Plan<5>(), 16, 64, 40, false, 6));
static_assert(block_is(Plan<6>(), 16, 64, 48, false, 4) && block_is(Plan<7>(), 16, 64, 56, false, 2));
static_assert(block_is(Plan<9>(), 16, 64, 72, true, 7) && block_is(Plan<10>(), 16, 64, 80, true, 6));
static_assert(block_is(Plan<11>(), 32, 32, 44, false, 5) && block_is(Plan<12>(), 16, 64, 96, true, 4));
static_assert(block_is(Plan<13>(), 32, 32, 52, false, 3) && block_is(Plan<14>(), 32, 32, 56, false, 2));
static_assert(block_is(Plan<15>(), 32, 32, 60, false, 1) && block_is(Plan<17>(), 32, 32, 68, false, 7));
static_assert(block_is(Plan<18>(), 32, 32, 72, false, 7) && block_is(Plan<19>(), 32, 32, 76, false, 6));
static_assert(block_is(Plan<20>(), 32, 32, 80, false, 6) && block_is(Plan<24>(), 32, 32, 96, false, 4));

static_assert(Plan<2>::control(0) == Plan<2>::Control{0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3});
static_assert(Plan<3>::control(0) == Plan<3>::Control{0, z, 0, z, 1, 0, 1, z, 1, z, 2, 1, 2, z, 2, z});
static_assert(Plan<4>::control(0) == Plan<4>::Control{0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7});
static_assert(Plan<5>::control(0) == Plan<5>::Control{0, z, 1, 0, 1, z, 2, 1, 3, 2, 3, z, 4, 3, 4, z});
static_assert(Plan<6>::control(0) == Plan<6>::Control{0, z, 1, 0, 2, 1, 2, z, 3, z, 4, 3, 5, 4, 5, z});
static_assert(Plan<7>::control(0) == Plan<7>::Control{0, z, 1, 0, 2, 1, 3, 2, 4, 3, 5, 4, 6, 5, 6, z});
static_assert(Plan<11>::control(0) == Plan<11>::Control{1, 0, z, z, 2, 1, z, z, 4, 3, 2, z, 5, 4, z, z});
static_assert(Plan<11>::control(1) == Plan<11>::Control{6, 5, z, z, 8, 7, 6, z, 9, 8, z, z, 10, 9, z, z});
static_assert(Plan<17>::control(0) == Plan<17>::Control{2, 1, 0, z, 4, 3, 2, z, 6, 5, 4, z, 8, 7, 6, z});
static_assert(Plan<19>::control(0) == Plan<19>::Control{2, 1, 0, z, 4, 3, 2, z, 7, 6, 5, 4, 9, 8, 7, z});
static_assert(Plan<19>::control(1) == Plan<19>::Control{2, 1, 0, z, 5, 4, 3, 2, 7, 6, 5, z, 9, 8, 7, z});
static_assert(Plan<24>::control(0) == Plan<24>::Control{2, 1, 0, z, 5, 4, 3, z, 8, 7, 6, z, 11, 10, 9, z});

// The second control of a load is the first with a number added to each entry but the cleared ones.
static_assert(Plan<2>::control(1)[0] == 4 && Plan<3>::control(3)[0] == 9 && Plan<4>::control(1)[0] == 8);

static_assert(Plan<2>::masks(0)[0] == 0xC0 && Plan<2>::masks(0)[3] == 0x03 && Plan<4>::masks(0)[0] == 0xF0);
static_assert(Plan<3>::masks(0) == Plan<3>::LaneValues{224, 28, 896, 112, 14, 448, 56, 7});
static_assert(Plan<5>::masks(0) == Plan<5>::LaneValues{248, 1984, 62, 496, 3968, 124, 992, 31});
static_assert(Plan<6>::masks(0) == Plan<6>::LaneValues{252, 1008, 4032, 63, 252, 1008, 4032, 63});
static_assert(Plan<7>::masks(0) == Plan<7>::LaneValues{254, 508, 1016, 2032, 4064, 8128, 16256, 127});
static_assert(Plan<11>::masks(0) == Plan<11>::LaneValues{65504, 8188, 262016, 32752});
static_assert(Plan<11>::masks(1) == Plan<11>::LaneValues{4094, 131008, 16376, 2047});
static_assert(Plan<24>::masks(0) == Plan<24>::LaneValues{0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF});

constexpr bool loads_are(auto plan, std::array<int, kBlockVectors> bytes) {
    for (int vector = 0; vector < kBlockVectors; ++vector)
        if (plan.load_at(vector) != bytes[size_t(vector)])
            return false;
    return true;
}
static_assert(loads_are(Plan<2>(), {0, 0, 8, 8, 16, 16, 24, 24}) && loads_are(Plan<3>(), {0, 0, 0, 0, 12, 12, 12, 12}));
static_assert(loads_are(Plan<5>(), {0, 0, 10, 10, 20, 20, 30, 30})
              && loads_are(Plan<9>(), {0, 9, 18, 27, 36, 45, 54, 63}));
static_assert(loads_are(Plan<13>(), {0, 0, 13, 13, 26, 26, 39, 39}));
static_assert(loads_are(Plan<17>(), {0, 8, 17, 25, 34, 42, 51, 59}));
static_assert(loads_are(Plan<19>(), {0, 9, 19, 28, 38, 47, 57, 66}));
static_assert(loads_are(Plan<24>(), {0, 12, 24, 36, 48, 60, 72, 84}));

// How many controls and sets of places a width needs: a group too long for a load may share one control between halves.
constexpr bool constants_are(auto plan, int controls, int place_sets) {
    return plan.control_of(1) == controls - 1 && plan.control_of(2) == 0 && plan.kPlaceSets == place_sets;
}
static_assert(constants_are(Plan<9>(), 1, 1) && constants_are(Plan<12>(), 1, 1));
static_assert(constants_are(Plan<11>(), 2, 2) && constants_are(Plan<13>(), 2, 2) && constants_are(Plan<15>(), 2, 2));
static_assert(constants_are(Plan<14>(), 2, 1) && constants_are(Plan<17>(), 1, 2) && constants_are(Plan<18>(), 1, 1));
static_assert(constants_are(Plan<19>(), 2, 2) && constants_are(Plan<20>(), 1, 1) && constants_are(Plan<24>(), 1, 1));

}  // namespace telling_rows

}  // namespace kdzk
