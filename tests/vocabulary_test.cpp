// Each word of the vector vocabulary against a scalar loop, over all pairs of bytes.
#include <gtest/gtest.h>

#include <array>
#include <bit>

#include "lanes.h"

namespace {

using Bytes = std::array<uint8_t, kdzk::kVectorBytes>;

Bytes bytes_of(auto lanes) { return std::bit_cast<Bytes>(lanes.raw); }

// Calls check(a, b, bytes of a, bytes of b) so that every pair of bytes meets in some lane.
template <typename Check>
void for_all_pairs(Check check) {
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; b += kdzk::kVectorBytes) {
            Bytes left, right;
            for (int lane = 0; lane < kdzk::kVectorBytes; ++lane) {
                left[size_t(lane)] = uint8_t(a);
                right[size_t(lane)] = uint8_t(b + lane);
            }
            check(left, right);
        }
    }
}

template <typename Word, typename Scalar>
void expect_bytewise(Word word, Scalar scalar) {
    for_all_pairs([&](const Bytes &left, const Bytes &right) {
        const Bytes got = bytes_of(word(kdzk::load_lanes<8>(left.data()), kdzk::load_lanes<8>(right.data())));
        for (size_t lane = 0; lane < got.size(); ++lane)
            ASSERT_EQ(got[lane], uint8_t(scalar(left[lane], right[lane])))
                << int(left[lane]) << ", " << int(right[lane]);
    });
}

TEST(Vocabulary, bytewise_words) {
    expect_bytewise([](auto a, auto b) { return both(a, b); }, [](int a, int b) { return a & b; });
    expect_bytewise([](auto a, auto b) { return either(a, b); }, [](int a, int b) { return a | b; });
    expect_bytewise([](auto a, auto b) { return differing(a, b); }, [](int a, int b) { return a ^ b; });
    expect_bytewise([](auto a, auto b) { return without(a, b); }, [](int a, int b) { return ~a & b; });
    expect_bytewise([](auto, auto b) { return complement(b); }, [](int, int b) { return ~b; });
    expect_bytewise([](auto a, auto b) { return equal(a, b); }, [](int a, int b) { return a == b ? 255 : 0; });
    expect_bytewise([](auto a, auto b) { return minus(a, b); }, [](int a, int b) { return a - b; });
    expect_bytewise([](auto a, auto b) { return greater(a, b); },
                    [](int a, int b) { return int8_t(a) > int8_t(b) ? 255 : 0; });
}

TEST(Vocabulary, lanes_to_and_from_registers) {
    alignas(kdzk::kVectorBytes) Bytes bytes;
    for (int value = 0; value < 256; ++value) {
        EXPECT_EQ(bytes_of(kdzk::spread(uint8_t(value)))[size_t(value) % 16], value);
        for (size_t lane = 0; lane < bytes.size(); ++lane)
            bytes[lane] = uint8_t(value * 37 + int(lane) * 101);
        const auto lanes = kdzk::load_lanes<64>(bytes.data());
        uint32_t tops = 0;
        for (size_t lane = 0; lane < bytes.size(); ++lane)
            tops |= uint32_t(bytes[lane] >> 7) << lane;
        EXPECT_EQ(top_bits(kdzk::load_lanes<8>(bytes.data())), tops);
        const auto words = std::bit_cast<std::array<uint64_t, 2>>(bytes);
        EXPECT_EQ(low_word(lanes), words[0]);
        EXPECT_EQ(high_word(lanes), words[1]);
        alignas(kdzk::kVectorBytes) Bytes stored = {};
        store_aligned(stored.data(), lanes);
        EXPECT_EQ(stored, bytes);
    }
}

}  // namespace
