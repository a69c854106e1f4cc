// reference_test.cpp: the reference and the data themselves, held against values worked out by hand.
#include <gtest/gtest.h>

#include "reference/kernels.h"
#include "support/random_data.h"

namespace {

using reference::Keys;

TEST(Reference, PacksCodesFromTheHighestBitDown) {
    EXPECT_EQ(reference::write_codes({5, 1, 7}, 3), (std::vector<uint8_t>{0xA7, 0x80}));
    EXPECT_EQ(reference::write_codes({0, 1, 2, 3, 4, 5, 6, 7}, 3), (std::vector<uint8_t>{0x05, 0x39, 0x77}));
    EXPECT_EQ(reference::write_codes({258}, 16), (std::vector<uint8_t>{1, 2}));
    support::Random random;
    for (uint32_t width = 1; width <= 64; ++width) {
        const auto codes = codes_around({0, 1}, reference::largest_code(width), 77, random);
        const auto payload = reference::write_codes(codes, width);
        for (size_t row = 0; row < codes.size(); ++row)
            EXPECT_EQ(reference::read_code(payload.data(), width, row), codes[row]) << width;
    }
}

TEST(Reference, KeepsNullsOutOfEveryOperator) {
    for (uint32_t operation = KDZK_OP_EQ; operation <= KDZK_OP_GE_LE; ++operation)
        for (uint64_t lower = 0; lower < 3; ++lower)
            EXPECT_FALSE(reference::hits({KDZK_CLASS_DICT, 8, operation, KDZK_FORM_NULL}, 0, {lower, 2}));
    EXPECT_TRUE(reference::hits({KDZK_CLASS_DICT, 8, KDZK_OP_NE, KDZK_FORM_NULL}, 1, {0, 0}));
}

TEST(Reference, DecidesAt1BitOnAnyKeyAndAsTheOperatorsOnCodes) {
    const uint64_t all = ~uint64_t{0};
    const auto bits = [](uint32_t operation, uint32_t form, Keys keys, const uint64_t *selected) {
        return predicate({KDZK_CLASS_DICT, 1, operation, form}, {0, 1}, keys, {nullptr, selected, true}).words[0];
    };
    for (uint32_t operation = KDZK_OP_EQ; operation <= KDZK_OP_GE_LE; ++operation)
        for (const uint32_t form : {KDZK_FORM_PLAIN, KDZK_FORM_NULL})
            for (const Keys keys : {Keys{0, 0}, Keys{0, 1}, Keys{1, 0}, Keys{1, 1}})
                EXPECT_EQ(bits(operation, form, keys, nullptr) % 4, bits(operation, form, keys, &all))
                    << operation << ", form " << form << ", keys " << keys.lower << keys.upper;
    EXPECT_EQ(bits(KDZK_OP_LT, KDZK_FORM_PLAIN, {2, 0}, nullptr), ~uint64_t{2});
    EXPECT_EQ(bits(KDZK_OP_NE, KDZK_FORM_PLAIN, {2, 0}, nullptr), 2u);
    EXPECT_EQ(bits(KDZK_OP_NE, KDZK_FORM_NULL, {2, 0}, nullptr), 0u);
    EXPECT_EQ(bits(KDZK_OP_GT_LE, KDZK_FORM_PLAIN, {0, 2}, nullptr), 0u);
}

TEST(RandomData, ReachesTheCorners) {
    support::Random random;
    const auto codes = codes_around({0x40, 0x41}, 0xFF, 2000, random);
    for (const uint64_t corner : {0x00u, 0x01u, 0x3Fu, 0x40u, 0x41u, 0x42u, 0x7Fu, 0x80u, 0xFFu})
        EXPECT_GT(std::count(codes.begin(), codes.end(), corner), 10) << corner;
    EXPECT_EQ(support::mask(64, 64, random), std::vector{~uint64_t{0}});
}

}  // namespace
