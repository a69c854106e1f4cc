// The store by itself: the order of values, and code runs.
#include "store/code_stream.h"
#include "store/dictionary.h"
#include "store/value_set.h"

#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>

namespace {

using qvk::Type;
using qvk::ValueView;

ValueView integer(int64_t value) { return {Type::integer, value, 0, {}}; }

ValueView real(double value) { return {Type::real, 0, value, {}}; }

TEST(ValueOrder, IsExactBetweenIntegersAndReals) {
    constexpr int64_t kLargest = std::numeric_limits<int64_t>::max(), kSmallest = std::numeric_limits<int64_t>::min();
    constexpr double kTwoTo63 = 9223372036854775808.0;
    const ValueView ascending[] = {{},
                                   real(-1e300),
                                   integer(kSmallest),
                                   integer(kSmallest + 1),
                                   real(-1.5),
                                   integer(-1),
                                   real(-0.5),
                                   integer(0),
                                   real(0.5),
                                   integer(1),
                                   real(1.5),
                                   real(9007199254740992.0),
                                   integer(9007199254740993),
                                   integer(kLargest),
                                   real(kTwoTo63),
                                   {Type::text, 0, 0, ""},
                                   {Type::text, 0, 0, "a"},
                                   {Type::text, 0, 0, "ab"},
                                   {Type::text, 0, 0, "\x80"},
                                   {Type::blob, 0, 0, ""}};
    for (size_t a = 0; a < std::size(ascending); ++a) {
        for (size_t b = 0; b < std::size(ascending); ++b) {
            EXPECT_EQ(qvk::compare(ascending[a], ascending[b]) < 0, a < b) << a << ' ' << b;
        }
    }
    EXPECT_EQ(qvk::compare(integer(kSmallest), real(-kTwoTo63)), 0);
    EXPECT_EQ(qvk::compare(real(-0.0), integer(0)), 0);
}

// 1 and 1.0 share a rank, so an equality takes both codes; NULL's code 0 is in no run of a comparison.
TEST(CodeRuns, CoverEqualRanksAndLeaveNullOut) {
    qvk::Dictionary dictionary;
    for (const ValueView value : {ValueView{}, integer(1), real(1.0), integer(2), integer(4), integer(7)}) {
        dictionary.values.emplace_back(value);
    }
    const auto runs = [&](qvk::Predicate::Kind kind, std::vector<int64_t> values) {
        qvk::Predicate predicate;
        predicate.kind = kind;
        for (const int64_t value : values) {
            predicate.values.emplace_back(integer(value));
        }
        return qvk::runs_of(predicate, dictionary.codes(),
                            [&](const qvk::Value &value) { return dictionary.locate(value); });
    };
    using Runs = std::vector<qvk::CodeRun>;
    EXPECT_EQ(runs(qvk::Predicate::Kind::any_of, {1}), (Runs{{1, 2}}));
    EXPECT_EQ(runs(qvk::Predicate::Kind::any_of, {7, 1, 2, 3, 7}), (Runs{{1, 3}, {5, 5}}));
    EXPECT_EQ(runs(qvk::Predicate::Kind::none_of, {2}), (Runs{{1, 2}, {4, 5}}));
    EXPECT_EQ(runs(qvk::Predicate::Kind::not_null, {}), (Runs{{1, 5}}));
    EXPECT_EQ(runs(qvk::Predicate::Kind::any_of, {}), Runs{});
}

// Every member and nothing else, whatever the layout of the filter; equal values of two types have one hash.
TEST(ValueSets, HoldWhatComparesAsEqual) {
    for (const int64_t members : {1, 1000, 200'000}) {
        std::vector<qvk::Value> values;
        for (int64_t member = 0; member < members; ++member) {
            values.emplace_back(member % 3 ? integer(member) : real(static_cast<double>(member)));
        }
        const qvk::ValueSet set(values);
        EXPECT_EQ(set.filter().enc_ctx->bloom_partitioned, members > 1u << 17);
        for (int64_t number = 0; number < 2 * members; ++number) {
            ASSERT_EQ(set.contains(integer(number)), number < members) << number;
            ASSERT_EQ(set.contains(real(static_cast<double>(number))), number < members) << number;
        }
        EXPECT_TRUE(set.contains(real(-0.0)));
        for (const ValueView other : {ValueView{}, real(0.5), {Type::text, 0, 0, ""}, {Type::blob, 0, 0, "1"}}) {
            EXPECT_FALSE(set.contains(other));
        }
    }
}

TEST(CodeStream, HoldsCodesOfEveryWidth) {
    const std::vector<uint8_t> drawn = qvk::pack_codes(std::vector<uint32_t>{5, 1, 7}, 3);
    EXPECT_EQ(drawn[0], 0b10100111);
    EXPECT_EQ(drawn[1], 0b10000000);
    std::vector<uint32_t> widths(20);
    std::iota(widths.begin(), widths.end(), 1u);
    widths.insert(widths.end(), {24, 32});
    std::mt19937 random;
    uint64_t most_codes_below = 0;
    for (const uint32_t width : widths) {
        EXPECT_EQ(qvk::width_for(most_codes_below + 1), width);
        most_codes_below = uint64_t{1} << width;
        EXPECT_EQ(qvk::width_for(most_codes_below), width);
        std::vector<uint32_t> codes(100 + width);
        for (uint32_t &code : codes) {
            code = static_cast<uint32_t>(random() >> (32 - width));
        }
        const std::vector<uint8_t> payload = qvk::pack_codes(codes, width);
        EXPECT_EQ(payload.size(), (codes.size() * width + 7) / 8 + KDZK_DICT_SLACK_BYTES);
        for (size_t row = 0; row < codes.size(); ++row) {
            ASSERT_EQ(qvk::code_at(payload.data(), width, row), codes[row]) << width << " bits, row " << row;
        }
    }
}

}  // namespace
