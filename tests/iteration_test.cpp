// iteration_test.cpp: walks over ones and zeros with every state a host can see, batches, and ranges.
#include <gtest/gtest.h>

#include <algorithm>

#include "reference/bit_vectors.h"
#include "support/guarded_memory.h"

namespace {

using reference::Unit;

using StepFn = uint64_t (*)(kdzk_lbiv_ictx *);

void expect_same_state(const kdzk_lbiv_ictx &walk, const kdzk_lbiv_ictx &expected) {
    const auto state_of = [](const kdzk_lbiv_ictx &at) {
        return std::tie(at.next, at.nbits, at.word_base, at.bit_pos, at.cur);
    };
    ASSERT_EQ(state_of(walk), state_of(expected));
}

constexpr uint64_t kLengths[] = {0, 1, 7, 8, 9, 63, 64, 65, 100, 127, 128, 129, 200, 576, 1000};
constexpr uint64_t kMaxima[] = {0, 1, 7, 8, 9, 16, 17, 256, ~uint64_t{0}};

class IterationTest : public testing::TestWithParam<Unit> {
  protected:
    // Words without a one, with one, with many and with all: what goes for one of them ends at the next.
    std::vector<uint64_t> mixed_words(uint64_t nbits) {
        std::vector<uint64_t> words(nbits / 64 + 1);
        for (uint64_t &word : words) {
            const uint64_t kinds[] = {0, 0, 0, uint64_t{1} << random_.below(64), random_.word(), ~uint64_t{0}};
            word = kinds[random_.below(std::size(kinds))];
        }
        return words;
    }

    // Puts a vector where its last readable byte is the last one before an unreadable page.
    const uint64_t *placed(uint64_t density, uint64_t nbits, uint64_t start) {
        return placed(mask(density, nbits, random_), nbits, start);
    }
    const uint64_t *placed(std::vector<uint64_t> words, uint64_t nbits, uint64_t start) {
        words.resize(std::max(words.size(), start / 64 + 1), random_.word());
        const uint64_t bytes = std::max(extent_bytes(GetParam(), nbits), (start / 64 + 1) * 8);
        return reinterpret_cast<const uint64_t *>(memory_.ending_with(words.data(), bytes));
    }

    // Walks until five calls after the end, each of which goes on by a word or consumes a bit.
    void compare_walks(const uint64_t *vector, uint64_t nbits, bool zeros, uint32_t invert, uint64_t start) {
        const bool bytewise = GetParam() == Unit::byte;
        const StepFn step = bytewise ? zeros ? kdzk_lbiviter_clr_dydi : kdzk_lbiviter_dydi
                                     : (zeros ? kdzk_lbiwviter_clr_dydi : kdzk_lbiwviter_dydi);
        kdzk_lbiv_ictx walk, expected = reference::start_walk(vector, nbits, invert, start);
        kdzk_lbiv_ictx_ini2_dydi(&walk, vector, nbits, invert, start);
        expect_same_state(walk, expected);
        for (int calls_after_end = 0; calls_after_end < 5 && !HasFatalFailure();) {
            const std::optional<uint64_t> row = next_row(expected, GetParam(), zeros);
            ASSERT_EQ(step(&walk), row.value_or(bytewise ? KDZK_LBIV_END : KDZK_LBIWV_END));
            expect_same_state(walk, expected);
            calls_after_end += row ? 0 : 1;
        }
    }

    // Takes batches until three were empty; next_max() is the room for one.
    template <class NextMax>
    void compare_batches(const uint64_t *vector, uint64_t nbits, uint64_t start, NextMax next_max) {
        const auto ones = GetParam() == Unit::byte ? kdzk_lbivones_dydi : kdzk_lbiwvones_dydi;
        kdzk_lbiv_ictx walk, expected = reference::start_walk(vector, nbits, 0, start);
        kdzk_lbiv_ictx_ini2_dydi(&walk, vector, nbits, 0, start);
        for (int empty_batches = 0; empty_batches < 3;) {
            const uint64_t max = next_max();
            const std::vector<uint32_t> rows = next_rows(expected, GetParam(), max);
            const size_t bytes = sizeof rows[0] * rows.size();
            auto *const out = reinterpret_cast<uint32_t *>(rows_memory_.ending(bytes));
            ASSERT_EQ(ones(&walk, out, max), rows.size()) << nbits << " bits, room for " << max;
            ASSERT_EQ(std::vector<uint32_t>(out, out + rows.size()), rows);
            expect_same_state(walk, expected);
            empty_batches += rows.empty() ? 1 : 0;
        }
    }

    support::Random random_;
    support::GuardedMemory memory_{4096, random_}, rows_memory_{sizeof(uint32_t) * 2048, random_};
};

TEST_P(IterationTest, KeepsEveryVisibleState) {
    for (const uint64_t nbits : kLengths)
        for (const uint64_t density : support::kDensities)
            for (const uint64_t start :
                 {uint64_t{0}, uint64_t{1}, uint64_t{63}, uint64_t{64}, uint64_t{70}, nbits / 2, nbits})
                for (const bool zeros : {false, true})
                    for (const uint32_t invert : {0u, 1u, 2u, 0x101u, 0x100u}) {
                        compare_walks(placed(density, nbits, start), nbits, zeros, invert, start);
                        if (HasFatalFailure())
                            FAIL() << "nbits " << nbits << " density " << density << " start " << start << " zeros "
                                   << zeros << " invert " << invert;
                    }
    // Only the low half of nbits counts, and it is compared signed.
    compare_walks(placed(32, 100, 0), (uint64_t{7} << 32) + 100, false, 0, 0);
    compare_walks(placed(32, 100, 0), 0x80000064, false, 0, 0);
}

TEST_P(IterationTest, BatchesStopAtTheirSizeOrTheEnd) {
    for (const uint64_t nbits : kLengths)
        for (const uint64_t max : kMaxima) {
            const uint64_t start = random_.below(nbits + 1);
            for (const uint64_t density : support::kDensities)
                compare_batches(placed(density, nbits, start), nbits, start, [=] { return max; });
            compare_batches(placed(mixed_words(nbits), nbits, start), nbits, start, [=] { return max; });
        }
    for (int round = 0; round < 200; ++round) {
        const uint64_t nbits = random_.below(2000), start = random_.below(nbits + 1);
        compare_batches(placed(mixed_words(nbits), nbits, start), nbits, start,
                        [this] { return kMaxima[random_.below(std::size(kMaxima))]; });
    }
}

TEST_P(IterationTest, EndsAtTheLastRowThereCanBe) {
    constexpr uint32_t kMostRows = 0x7FFFFFFF, kLastWord = kMostRows / 64;
    const uint64_t last_word = 5;
    const auto at = reinterpret_cast<uintptr_t>(memory_.ending_with(&last_word, sizeof last_word));
    kdzk_lbiv_ictx walk;
    kdzk_lbiv_ictx_ini2_dydi(&walk, reinterpret_cast<const uint64_t *>(at - 8 * uint64_t{kLastWord}), kMostRows, 0,
                             uint64_t{kLastWord} * 64);
    uint32_t rows[4];
    const auto take = GetParam() == Unit::byte ? kdzk_lbivones_dydi : kdzk_lbiwvones_dydi;
    EXPECT_EQ(take(&walk, rows, 4), 2u);
    EXPECT_EQ(rows[1], kLastWord * 64 + 2);
    EXPECT_EQ(take(&walk, rows, 4), 0u);
}

INSTANTIATE_TEST_SUITE_P(, IterationTest, testing::Values(Unit::byte, Unit::word),
                         [](const auto &info) { return info.param == Unit::byte ? "lbiv" : "lbiwv"; });

TEST(Ranges, TouchTheirBitsAlone) {
    support::Random random;
    support::GuardedMemory memory(1024, random);
    for (uint64_t first = 0; first < 4096; first += first < 40 ? 1 : 397)
        for (uint64_t last = first; last < 4096; last += last < 40 ? 1 : 251)
            for (const bool set : {false, true}) {
                memory.restore();
                const uint64_t bytes = last / 8 + 1;
                uint8_t *const vector = memory.ending(bytes);
                std::vector<uint8_t> expected(vector, vector + bytes);
                for (uint64_t row = first; row <= last; ++row)
                    reference::put_bit(expected.data(), row, set);
                (set ? kdzk_lbivset_range_dydi : kdzk_lbivclr_range_dydi)(vector, first, last);
                ASSERT_EQ(std::vector<uint8_t>(vector, vector + bytes), expected) << first << " to " << last;
                ASSERT_TRUE(memory.unchanged_but(vector, bytes));
            }
}

TEST(Runs, AreNeverReported) {
    EXPECT_EQ(kdzk_lbivrun_dydi(nullptr), KDZK_LBIV_END);
    EXPECT_EQ(kdzk_lbiwvrun_dydi(nullptr), KDZK_LBIWV_END);
    EXPECT_EQ(kdzk_lbivruns_dydi(nullptr), 0u);
}

// Through volatile, since compilers take two functions to have two addresses.
template <class Function>
void expect_one_function(Function *first, Function *second) {
    Function *const volatile addresses[] = {first, second};
    EXPECT_EQ(addresses[0], addresses[1]);
}

TEST(SharedFunctions, HaveOneAddressUnderBothNames) {
    expect_one_function(kdzk_lbiv_ictx_ini2_dydi, kdzk_lbiwv_ictx_ini2_dydi);
    expect_one_function(kdzk_lbivruns_dydi, kdzk_lbiwvruns_dydi);
    expect_one_function(kdzk_lbivset_range_dydi, kdzk_lbiwvset_range_dydi);
    expect_one_function(kdzk_lbivclr_range_dydi, kdzk_lbiwvclr_range_dydi);
    expect_one_function(kdzk_init_sharedlib_dydi, kdzk_set_trace_level_dydi);
}

}  // namespace
