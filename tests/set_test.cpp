// set_test.cpp: membership of codes in sets, both bodies, against the reference.
#include <gtest/gtest.h>

#include "support/predicate_call.h"

namespace {

using reference::Kernel;

class SetTest : public testing::TestWithParam<Kernel> {
  protected:
    // Of these codes, a share of so many in 64; the set ends with the word of the largest code that occurs.
    std::vector<uint64_t> some_of(const std::vector<uint64_t> &codes, uint64_t density) {
        const uint64_t largest = codes.empty() ? 0 : *std::max_element(codes.begin(), codes.end());
        std::vector<uint64_t> set(largest / 64 + 1);
        for (const uint64_t code : codes)
            if (random_.below(64) < density)
                reference::put_bit(set.data(), code, true);
        return set;
    }

    void check(const std::vector<uint64_t> &codes, const std::vector<uint64_t> &set, size_t shift, bool selective) {
        const std::vector<uint8_t> bytes = reference::write_codes(codes, width_);
        call_.src.data = payload_.ending_with(bytes.data(), bytes.size(), reference::payload_slack(width_) + shift);
        call_.src.row_count = static_cast<uint32_t>(codes.size());
        call_.dst.row_count = 0xDEADBEEF;
        support::GuardedMemory set_memory(set.size() * 8, random_);
        void *const guarded_set = set_memory.ending_with(set.data(), set.size() * 8);
        call_.lower.res_bv = static_cast<uint64_t *>(guarded_set);
        reference::Masks masks = call_.lay_masks(codes.size(), shift, selective);
        masks.filter = nullptr;  // odd on purpose
        call_.expect(
            masked_answer(codes.size(), masks,
                          [&](size_t row) { return row < codes.size() && reference::bit_at(set.data(), codes[row]); }),
            shift);
    }

    const uint32_t width_ = GetParam().width_bits;
    // Sets over wider codes would only be larger.
    const uint64_t largest_ = std::min<uint64_t>(reference::largest_code(width_), 200'000);
    support::GuardedPredicateCall call_{GetParam()};
    support::Random &random_ = call_.random;
    support::GuardedMemory payload_{4 * 1000 + 64, random_};
};

TEST_P(SetTest, AnswersAtEveryRowCountOffsetSetAndMask) {
    for (const uint64_t rows : support::kRowCounts)
        for (size_t shift = 0; shift < 8; ++shift) {
            // Below and above a word's end, and anything.
            const uint64_t limit = random_.one_of(std::vector<uint64_t>{1, 63, 64, 127, largest_});
            std::vector<uint64_t> codes = codes_around({limit / 2}, largest_, rows, random_);
            for (uint64_t &code : codes)
                code %= std::min(limit, largest_) + 1;
            const auto set = some_of(codes, random_.one_of(support::kDensities));
            ASSERT_NO_FATAL_FAILURE(check(codes, set, shift, random_.below(2) == 0)) << call_.scene();
        }
}

TEST_P(SetTest, FindsEachCodeAtEachPlace) {
    std::vector<uint64_t> codes(16 * 64);
    const uint64_t period = std::min<uint64_t>(largest_ + 1, 1021);
    for (const uint64_t skip : {0u, 1u, 2u, 3u, 5u})
        for (const bool selective : {false, true}) {
            for (size_t row = 0; row < codes.size(); ++row)
                codes[row] = (row * 7 + row / 64 + skip) % period;
            std::vector<uint64_t> set((period + 63) / 64);
            for (uint64_t code = skip; code < period; code += 3 + skip)
                reference::put_bit(set.data(), code, true);
            ASSERT_NO_FATAL_FAILURE(check(codes, set, 0, selective)) << call_.scene();
        }
}

INSTANTIATE_TEST_SUITE_P(, SetTest, testing::ValuesIn(support::live_kernels(KDZK_OP_SET, KDZK_OP_SET)),
                         support::case_name);

}  // namespace
