// vocabulary_test.cpp: each word of the vector vocabulary against a scalar loop, at every lane width it has.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <vector>

#include "lanes.h"

namespace {

using Bytes = std::array<uint8_t, kdzk::kVectorBytes>;

template <int kBits>
using Values = std::array<kdzk::UnsignedOf<kBits>, kdzk::kVectorBytes * 8 / kBits>;

template <int kBits>
Values<kBits> values_of(kdzk::Lanes<kBits> lanes) {
    return std::bit_cast<Values<kBits>>(lanes.raw);
}

template <int kBits>
kdzk::Lanes<kBits> lanes_of(const Values<kBits> &values) {
    return kdzk::load_lanes<kBits>(values.data());
}

// All bytes; of wider lanes the ends, the middle, single bits and what lies beside them.
template <int kBits>
std::vector<kdzk::UnsignedOf<kBits>> extremes() {
    using Value = kdzk::UnsignedOf<kBits>;
    std::vector<Value> values;
    for (int bit = 0; bit < kBits; ++bit)
        for (const int beside : {-1, 0, 1})
            values.push_back(Value((Value{1} << bit) + Value(beside)));
    for (int byte = 0; byte < 256; ++byte)
        values.push_back(Value(Value(byte) * (std::numeric_limits<Value>::max() / 255)));
    return values;
}

// Every pair of extremes meets in some lane.
template <int kBits, typename Word, typename Scalar>
void expect_lanewise(Word word, Scalar scalar) {
    const auto values = extremes<kBits>();
    for (const auto a : values)
        for (size_t at = 0; at < values.size(); at += Values<kBits>().size()) {
            Values<kBits> left, right;
            left.fill(a);
            for (size_t lane = 0; lane < right.size(); ++lane)
                right[lane] = values[(at + lane) % values.size()];
            const auto got = values_of(word(lanes_of<kBits>(left), lanes_of<kBits>(right)));
            for (size_t lane = 0; lane < right.size(); ++lane)
                ASSERT_EQ(got[lane], kdzk::UnsignedOf<kBits>(scalar(left[lane], right[lane])))
                    << kBits << " bits: " << uint64_t{left[lane]} << ", " << uint64_t{right[lane]};
        }
}

template <int kBits>
void expect_words_of_width() {
    using Value = kdzk::UnsignedOf<kBits>;
    using Signed = std::make_signed_t<Value>;
    constexpr Value kAll = std::numeric_limits<Value>::max();
    expect_lanewise<kBits>([](auto a, auto b) { return both(a, b); }, [](Value a, Value b) { return a & b; });
    expect_lanewise<kBits>([](auto a, auto b) { return either(a, b); }, [](Value a, Value b) { return a | b; });
    expect_lanewise<kBits>([](auto a, auto b) { return differing(a, b); }, [](Value a, Value b) { return a ^ b; });
    expect_lanewise<kBits>([](auto a, auto b) { return without(a, b); }, [](Value a, Value b) { return ~a & b; });
    expect_lanewise<kBits>([](auto, auto b) { return complement(b); }, [](Value, Value b) { return ~b; });
    expect_lanewise<kBits>([](auto a, auto b) { return equal(a, b); },
                           [](Value a, Value b) { return a == b ? kAll : 0; });
    expect_lanewise<kBits>([](auto a, auto b) { return greater(a, b); },
                           [](Value a, Value b) { return Signed(a) > Signed(b) ? kAll : 0; });
    expect_lanewise<kBits>([](auto a, auto b) { return minus(a, b); }, [](Value a, Value b) { return a - b; });
    for (const Value value : extremes<kBits>())
        for (const Value lane : values_of(kdzk::spread(value)))
            ASSERT_EQ(lane, value);
}

template <int kBits>
void expect_unsigned_words_of_width() {
    using Value = kdzk::UnsignedOf<kBits>;
    expect_lanewise<kBits>([](auto a, auto b) { return larger(a, b); },
                           [](Value a, Value b) { return std::max(a, b); });
    expect_lanewise<kBits>([](auto a, auto b) { return smaller(a, b); },
                           [](Value a, Value b) { return std::min(a, b); });
}
template <int kBits>
void expect_minus_to_zero() {
    using Value = kdzk::UnsignedOf<kBits>;
    expect_lanewise<kBits>([](auto a, auto b) { return minus_to_zero(a, b); },
                           [](Value a, Value b) { return a > b ? a - b : 0; });
}

TEST(Vocabulary, LanewiseWords) {
    expect_words_of_width<8>();
    expect_words_of_width<16>();
    expect_words_of_width<32>();
    expect_words_of_width<64>();
    expect_unsigned_words_of_width<16>();
    expect_unsigned_words_of_width<32>();
    expect_minus_to_zero<8>();
    expect_minus_to_zero<16>();
    expect_minus_to_zero<32>();
    expect_lanewise<8>([](auto a, auto b) { return plus(a, b); }, [](uint8_t a, uint8_t b) { return a + b; });
    const auto product = [](uint64_t a, uint64_t b) { return a * b; };
    expect_lanewise<16>([](auto a, auto b) { return times(a, b); }, product);
    expect_lanewise<32>([](auto a, auto b) { return times(a, b); }, product);
}

// Comparison results of every pattern keep their order and become half as wide.
template <int kBits>
void expect_narrowing() {
    constexpr size_t lanes = Values<kBits>().size();
    for (uint32_t pattern = 0; pattern < 1u << 2 * lanes; ++pattern) {
        Values<kBits> halves[2] = {};
        for (size_t lane = 0; lane < 2 * lanes; ++lane)
            halves[lane / lanes][lane % lanes] = kdzk::UnsignedOf<kBits>(pattern >> lane & 1 ? -1 : 0);
        const auto narrowed = values_of(narrow(lanes_of<kBits>(halves[0]), lanes_of<kBits>(halves[1])));
        for (size_t lane = 0; lane < 2 * lanes; ++lane)
            ASSERT_EQ(narrowed[lane], kdzk::UnsignedOf<kBits / 2>(pattern >> lane & 1 ? -1 : 0));
    }
}

// Numbers near zero stay what they are and no other one comes near it; in 64 bits, that holds for zero alone.
template <int kBits>
void expect_narrowing_near_zero() {
    using Narrow = std::make_signed_t<kdzk::UnsignedOf<kBits / 2>>;
    constexpr int known = kBits < 64 ? 2 : 0;
    for (const auto value : extremes<kBits>()) {
        const auto lanes = kdzk::spread(value);
        const auto number = std::make_signed_t<decltype(+value)>(std::make_signed_t<kdzk::UnsignedOf<kBits>>(value));
        for (const auto lane : values_of(narrow_near_zero(lanes, lanes))) {
            const bool near = -known <= number && number <= known;
            ASSERT_EQ(near, -known <= Narrow(lane) && Narrow(lane) <= known);
            ASSERT_TRUE(!near || Narrow(lane) == number);
        }
    }
}

TEST(Vocabulary, Narrowing) {
    expect_narrowing_near_zero<16>();
    expect_narrowing_near_zero<32>();
    expect_narrowing_near_zero<64>();
    expect_narrowing<16>();
    expect_narrowing<32>();
    expect_narrowing<64>();
}

TEST(Vocabulary, BytesAndRegisters) {
    alignas(kdzk::kVectorBytes) Bytes bytes, stored;
    for (int value = 0; value < 256; ++value) {
        Bytes control;
        for (size_t at = 0; at < bytes.size(); ++at) {
            bytes[at] = uint8_t(value * 37 + int(at) * 101);
            control[at] = uint8_t(value % 2 ? bytes[at] : value + int(at));
        }
        const auto lanes = kdzk::load_lanes<8>(bytes.data());
        const Bytes picked = values_of(kdzk::pick_bytes<8>(lanes, kdzk::load_lanes<8>(control.data())));
        const Bytes reversed = values_of(bits_reversed(lanes));
        uint32_t tops = 0;
        for (size_t at = 0; at < bytes.size(); ++at) {
            tops |= uint32_t(bytes[at] >> 7) << at;
            ASSERT_EQ(picked[at], control[at] < 0x80 ? bytes[control[at] % 16] : 0);
            for (int bit = 0; bit < 8; ++bit)
                ASSERT_EQ(reversed[at] >> bit & 1, bytes[at] >> (7 - bit) & 1);
        }
        EXPECT_EQ(top_bits(lanes), tops);
        const auto words = std::bit_cast<std::array<uint64_t, 2>>(bytes);
        EXPECT_EQ(low_word(kdzk::seen_as<64>(lanes)), words[0]);
        EXPECT_EQ(high_word(kdzk::seen_as<64>(lanes)), words[1]);
        store_aligned(stored.data(), lanes);
        EXPECT_EQ(stored, bytes);
        std::array<uint8_t, kdzk::kVectorBytes + 1> shifted{};
        store_lanes(shifted.data() + 1, lanes);
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), shifted.begin() + 1));
    }
}

}  // namespace
