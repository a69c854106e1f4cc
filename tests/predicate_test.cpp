// predicate_test.cpp: every predicate kernel that has a slot, both its bodies, against the reference.
#include <gtest/gtest.h>

#include "reference/bit_vectors.h"
#include "support/predicate_call.h"

namespace {

using reference::Kernel;
using reference::Keys;
using support::GuardedMemory;

// Around blocks of 16, 32, 64 and 128 rows.
constexpr uint64_t kRowCounts[] = {0,   1,   8,   15,  16,  17,  31,  32,  33,  63,  64,  65,
                                   127, 128, 129, 191, 192, 193, 255, 256, 257, 300, 1000};
constexpr uint64_t kMostRows = 8 * 256 + 127;

class PredicateTest : public testing::TestWithParam<Kernel> {
  protected:
    // Lays rows down so that what may be read ends shift bytes before an unreadable page.
    void lay_payload(const std::vector<uint64_t> &codes, size_t shift) {
        const std::vector<uint8_t> bytes = reference::write_codes(codes, width_);
        payload_at_ = payload_.ending_with(bytes.data(), bytes.size(), reference::payload_slack(width_) + shift);
        call_.dst.row_count = call_.src.row_count = static_cast<uint32_t>(codes.size());
        values_ = codes;
    }

    void lay_keys(Keys keys) {
        keys_ = keys;
        call_.lower.data = lower_.ending_with(&keys.lower, reference::key_bytes(width_));
        call_.upper.data = upper_.ending_with(&keys.upper, reference::key_bytes(width_));
    }

    const uint64_t *lay_mask(GuardedMemory &memory, size_t shift) {
        // The walk over a selection reads its first word even if there are no rows.
        const uint64_t rows = std::max(values_.size(), uint64_t{1});
        const auto words = support::mask(random_.one_of(support::kDensities), rows, random_);
        return reinterpret_cast<const uint64_t *>(memory.ending_with(words.data(), words.size() * 8, shift));
    }

    // One mask in three is absent, but for the selection of a selective body.
    void lay_masks(size_t shift, bool selective) {
        call_.src.filter_bv = random_.below(3) == 0 ? nullptr : lay_mask(filter_, shift);
        context_.sel_bv = !selective && random_.below(3) == 0 ? nullptr : lay_mask(selection_, shift);
        context_.selective = selective || context_.sel_bv == nullptr ? 7 : 0;
        context_.host = static_cast<kdzk_host_env *>(support::unreadable());
    }

    // Calls the kernel with what is laid down and compares all that it writes.
    void check(size_t shift) {
        const bool selective = context_.selective != 0 && context_.sel_bv != nullptr;
        const reference::Answer expected =
            predicate(GetParam(), values_, keys_, {call_.src.filter_bv, context_.sel_bv, selective});
        call_.src.data = expected.reads_codes ? payload_at_ : support::unreadable();
        const size_t bytes = expected.words.size() * 8;
        result_.restore();
        uint8_t *const result = result_.ending(bytes, shift);
        call_.dst.res_bv = static_cast<uint64_t *>(static_cast<void *>(result));
        call_.dst.hit_count = 0xDEADBEEF;
        const uint32_t flags = context_.flags = static_cast<uint32_t>(random_.word());
        const bool contextless = context_.sel_bv == nullptr && random_.below(2) == 0;
        ASSERT_EQ(call_(contextless ? nullptr : &context_), expected.status);
        ASSERT_EQ(call_.dst.hit_count, expected.hit_count);
        std::vector<uint64_t> words(expected.words.size());
        std::copy(result, result + bytes, reinterpret_cast<uint8_t *>(words.data()));
        ASSERT_EQ(words, expected.words);
        ASSERT_TRUE(result_.unchanged_but(result, bytes));
        ASSERT_EQ(context_.flags, selective ? flags | KDZK_RAN_SELECTIVE : flags);
    }

    std::string scene() const {
        return std::to_string(values_.size()) + " rows, keys " + std::to_string(keys_.lower) + " "
               + std::to_string(keys_.upper) + ", selective " + std::to_string(context_.selective) + ", masks "
               + (call_.src.filter_bv != nullptr ? "filter " : "") + (context_.sel_bv != nullptr ? "selection" : "");
    }

    const uint32_t width_ = GetParam().width_bits;
    const uint64_t largest_ = reference::largest_code(width_);
    support::Random random_;
    GuardedMemory payload_{kMostRows * 8 + 64, random_}, result_{512, random_}, lower_{8, random_}, upper_{8, random_},
        filter_{512, random_}, selection_{512, random_};
    support::PredicateCall call_{GetParam()};
    kdzk_exec_ctx context_{};
    uint8_t *payload_at_ = nullptr;
    std::vector<uint64_t> values_;
    Keys keys_{};
};

TEST_P(PredicateTest, AnswersAtEveryRowCountOffsetKeyAndMask) {
    const uint64_t half = largest_ / 2, any = random_.word() & largest_;
    const Keys keys[] = {{0, largest_},
                         {largest_, 0},
                         {1 & largest_, largest_ - 1},
                         {half, half},
                         {half, half + 1},
                         {half + 1, half},
                         {largest_ - 1, largest_},
                         {0, 0},
                         {any, any},
                         {any, random_.word() & largest_}};
    size_t turn = 0;
    for (const uint64_t rows : kRowCounts)
        for (size_t shift = 0; shift < 16; ++shift) {
            const Keys &pair = keys[turn++ % std::size(keys)];
            lay_payload(codes_around({pair.lower, pair.upper}, largest_, rows, random_), shift);
            lay_keys(pair);
            lay_masks(shift, random_.below(2) == 0);
            ASSERT_NO_FATAL_FAILURE(check(shift)) << scene() << ", shift " << shift;
        }
}

// All codes of narrow widths; of wide ones 0, each single bit, all but each single bit, and the lowest ones.
std::vector<uint64_t> telling_codes(uint32_t width) {
    const uint64_t largest = reference::largest_code(width);
    std::vector<uint64_t> codes = {0};
    for (uint64_t code = 1; width <= 8 && code <= largest; ++code)
        codes.push_back(code);
    for (uint64_t bit = 1; width > 8 && bit != 0 && bit <= largest; bit *= 2)
        codes.insert(codes.end(), {bit, largest - bit, largest / bit});
    return codes;
}

// Every code at each of the eight places that it can have in a group, beside every key, in blocks and behind.
TEST_P(PredicateTest, AnswersForEveryCodeAndKey) {
    const std::vector<uint64_t> telling = telling_codes(width_);
    std::vector<uint64_t> codes(8 * telling.size() + 127);
    for (size_t row = 0; row < codes.size(); ++row)
        codes[row] = telling[(row / 8 + row % 8 * 41) % telling.size()];
    lay_payload(codes, 0);
    for (const uint64_t lower : telling)
        for (const uint64_t upper : {lower, lower - 1, lower + 1, lower + 2, uint64_t{0}, largest_ / 2, largest_})
            for (const bool selective : {false, true}) {
                if (upper != lower && !is_range(GetParam()))
                    continue;
                lay_keys({lower, upper & largest_});
                lay_masks(0, selective);
                ASSERT_NO_FATAL_FAILURE(check(0)) << scene();
            }
}

// A key above the largest code is compared whole where rows are tested one by one, and all of it decides at 1 bit.
// Blocks of other widths may take it for a code.
TEST_P(PredicateTest, ComparesWholeKeys) {
    const uint64_t first = largest_ + 1, all_bits = ~uint64_t{0} >> (64 - 8 * reference::key_bytes(width_));
    const uint64_t keys[] = {0, 1, largest_, first, first + 1, 2 * first, 0x80000000, 0x80000001, 0xFFFFFFFF};
    for (const uint64_t lower : keys)
        for (const uint64_t upper : keys)
            for (const bool selective : {false, true}) {
                const uint64_t rows = selective || width_ == 1 ? 200 : 31;
                lay_payload(codes_around({0, largest_}, largest_, rows, random_), 0);
                lay_keys({lower & all_bits, upper & all_bits});
                lay_masks(0, selective);
                ASSERT_NO_FATAL_FAILURE(check(0)) << scene();
            }
}

TEST_P(PredicateTest, TakesItsRowsFromTheDestinationOrWhenSelectiveFromTheSource) {
    const std::vector<uint64_t> codes = codes_around({largest_ / 2}, largest_, 300, random_);
    const std::vector<uint64_t> all(5, ~uint64_t{0});
    lay_payload(codes, 0);
    lay_keys({largest_ / 2, largest_});
    context_.sel_bv = all.data();
    for (const uint32_t selective : {0u, 1u}) {
        context_.selective = selective;
        values_.assign(codes.begin(), codes.begin() + 150);
        call_.dst.row_count = selective != 0 ? 300 : 150;
        call_.src.row_count = selective != 0 ? 150 : 300;
        check(0);
    }
}

INSTANTIATE_TEST_SUITE_P(, PredicateTest, testing::ValuesIn(support::live_dict_predicates()), support::case_name);

}  // namespace
