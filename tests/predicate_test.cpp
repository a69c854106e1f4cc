// predicate_test.cpp: every predicate kernel that has a slot, both its bodies, against the reference.
#include <gtest/gtest.h>

#include <set>

#include "reference/bit_vectors.h"
#include "support/predicate_call.h"

namespace {

using reference::Kernel;
using reference::Keys;
using support::GuardedMemory;

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

    void check(size_t shift, bool selective) {
        const reference::Masks masks = call_.lay_masks(values_.size(), shift, selective);
        const reference::Answer expected = predicate(GetParam(), values_, keys_, masks);
        call_.src.data = expected.reads_codes ? payload_at_ : support::unreadable();
        call_.expect(expected, shift);
    }

    std::string scene() const {
        return call_.scene() + ", keys " + std::to_string(keys_.lower) + " " + std::to_string(keys_.upper);
    }

    const uint32_t width_ = GetParam().width_bits;
    const uint64_t largest_ = reference::largest_code(width_);
    support::GuardedPredicateCall call_{GetParam()};
    support::Random &random_ = call_.random;
    GuardedMemory payload_{support::kMostRows * 8 + 64, random_}, lower_{8, random_}, upper_{8, random_};
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
    for (const uint64_t rows : support::kRowCounts)
        for (size_t shift = 0; shift < 16; ++shift) {
            const Keys &pair = keys[turn++ % std::size(keys)];
            lay_payload(codes_around({pair.lower, pair.upper}, largest_, rows, random_), shift);
            lay_keys(pair);
            ASSERT_NO_FATAL_FAILURE(check(shift, random_.below(2) == 0)) << scene() << ", shift " << shift;
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
                ASSERT_NO_FATAL_FAILURE(check(0, selective)) << scene();
            }
}

// A key above the largest code is compared whole where rows are tested one by one, and all of it decides at 1 bit.
// So do blocks where codes come through windows whatever is tested; others may take it for a code.
TEST_P(PredicateTest, ComparesWholeKeys) {
    const uint64_t first = largest_ + 1, all_bits = ~uint64_t{0} >> (64 - 8 * reference::key_bytes(width_));
    const uint64_t keys[] = {0, 1, largest_, first, first + 1, 2 * first, 0x80000000, 0x80000001, 0xFFFFFFFF};
    for (const uint64_t lower : keys)
        for (const uint64_t upper : keys)
            for (const bool selective : {false, true}) {
                const bool all_compare = std::set{1, 3, 5, 6, 11, 13, 14, 15}.contains(int(width_));
                const uint64_t rows = selective || all_compare ? 200 : 31;
                lay_payload(codes_around({0, largest_}, largest_, rows, random_), 0);
                lay_keys({lower & all_bits, upper & all_bits});
                ASSERT_NO_FATAL_FAILURE(check(0, selective)) << scene();
            }
}

TEST_P(PredicateTest, TakesItsRowsFromTheDestinationOrWhenSelectiveFromTheSource) {
    const std::vector<uint64_t> codes = codes_around({largest_ / 2}, largest_, 300, random_);
    const std::vector<uint64_t> all(5, ~uint64_t{0});
    lay_payload(codes, 0);
    lay_keys({largest_ / 2, largest_});
    call_.context.sel_bv = all.data();
    for (const uint32_t selective : {0u, 1u}) {
        call_.context.selective = selective;
        call_.dst.row_count = selective != 0 ? 300 : 150;
        call_.src.row_count = selective != 0 ? 150 : 300;
        call_.src.data = payload_at_;
        call_.expect(
            predicate(GetParam(), {codes.begin(), codes.begin() + 150}, keys_, {nullptr, all.data(), selective != 0}),
            0);
    }
}

INSTANTIATE_TEST_SUITE_P(, PredicateTest, testing::ValuesIn(support::live_dict_predicates()), support::case_name);

}  // namespace
