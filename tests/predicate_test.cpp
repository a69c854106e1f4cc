// predicate_test.cpp: every predicate kernel that has a slot, both its bodies, against the reference.
#include <gtest/gtest.h>

#include "reference/bit_vectors.h"
#include "support/predicate_call.h"

namespace {

using reference::Kernel;
using reference::Keys;
using support::GuardedMemory;

constexpr uint64_t kRowCounts[] = {0,   1,   15,  16,  17,  63,  64,  65,  127, 128,
                                   129, 191, 192, 193, 255, 256, 257, 300, 1000};
constexpr uint64_t kMostRows = 1024;

class PredicateTest : public testing::TestWithParam<Kernel> {
  protected:
    // Lays rows down so that what may be read ends shift bytes before an unreadable page.
    void lay_payload(const std::vector<uint64_t> &codes, size_t shift) {
        const std::vector<uint8_t> bytes = reference::write_codes(codes, width_);
        call_.src.data = payload_.ending_with(bytes.data(), bytes.size(), reference::payload_slack(width_) + shift);
        call_.dst.row_count = call_.src.row_count = static_cast<uint32_t>(codes.size());
        values_ = codes;
    }

    void lay_keys(Keys keys) {
        keys_ = keys;
        call_.lower.data = lower_.ending_with(&keys.lower, reference::key_bytes(width_));
        call_.upper.data = upper_.ending_with(&keys.upper, reference::key_bytes(width_));
    }

    // One mask in three is absent.
    const uint64_t *lay_mask(GuardedMemory &memory, size_t shift) {
        if (random_.below(3) == 0)
            return nullptr;
        // The walk over a selection reads its first word even if there are no rows.
        const uint64_t rows = std::max(values_.size(), uint64_t{1});
        const auto words = support::mask(random_.one_of(support::kDensities), rows, random_);
        return reinterpret_cast<const uint64_t *>(memory.ending_with(words.data(), words.size() * 8, shift));
    }

    void lay_masks(size_t shift) {
        call_.src.filter_bv = lay_mask(filter_, shift);
        context_.sel_bv = lay_mask(selection_, shift);
        context_.selective = static_cast<uint32_t>(random_.below(2) * 7);
        context_.host = static_cast<kdzk_host_env *>(support::unreadable());
    }

    // Calls the kernel with what is laid down and compares all that it writes.
    void check(size_t shift) {
        const bool selective = context_.selective != 0 && context_.sel_bv != nullptr;
        const reference::Answer expected = predicate(GetParam(), values_, keys_, call_.src.filter_bv, context_.sel_bv);
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
    GuardedMemory payload_{kMostRows * 8 + 64, random_}, result_{256, random_}, lower_{8, random_}, upper_{8, random_},
        filter_{256, random_}, selection_{256, random_};
    support::PredicateCall call_{GetParam()};
    kdzk_exec_ctx context_{};
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
    for (const uint64_t rows : kRowCounts)
        for (size_t shift = 0; shift < 16; ++shift)
            for (size_t turn = 0; turn < 3; ++turn) {  // over all shifts each pair meets each row count
                const Keys &pair = keys[(3 * shift + turn) % std::size(keys)];
                lay_payload(codes_around({pair.lower, pair.upper}, largest_, rows, random_), shift);
                lay_keys(pair);
                lay_masks(shift);
                check(shift);
                if (HasFatalFailure())
                    FAIL() << scene() << ", shift " << shift;
            }
}

// Blocks see every code beside every key, single rows behind the blocks those around the key.
TEST_P(PredicateTest, AnswersForEveryCodeAndKey) {
    if (width_ > 8)
        GTEST_SKIP() << "too many codes";
    for (uint64_t lower = 0; lower <= largest_; ++lower)
        for (const uint64_t upper : {lower, lower - 1, lower + 1, lower + 2, uint64_t{0}, largest_ / 2, largest_}) {
            std::vector<uint64_t> codes(256 + 127);
            for (size_t row = 0; row < codes.size(); ++row)
                codes[row] = (row + lower - 64) & largest_;
            lay_payload(codes, 0);
            lay_keys({lower, upper & largest_});
            context_.selective = lower % 2;
            context_.sel_bv = upper % 3 != 0 ? nullptr : lay_mask(selection_, 0);
            check(0);
            if (HasFatalFailure())
                FAIL() << scene();
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
