// unpack_test.cpp: codes unpacked into integers, all of them, by list and by selection, against a walk row by row.
#include <gtest/gtest.h>

#include <numeric>

#include "support/host_stand_in.h"
#include "support/predicate_call.h"

namespace {

using reference::Kernel;

constexpr uint64_t kPositions[] = {0, 1, 7, 8, 9, 23, 24, 40, 63, 64, 65, 103, 128, 151, 152, 200};

class UnpackTest : public testing::TestWithParam<Kernel> {
  protected:
    size_t element_bytes(bool wide) const { return wide || width_ > 16 ? 4 : width_ > 8 ? 2 : 1; }

    void lay_rows(uint64_t rows, size_t shift) {
        codes_ = codes_around({largest_ / 3}, largest_, rows, random_);
        const std::vector<uint8_t> bytes = reference::write_codes(codes_, width_);
        src_.data = payload_.ending_with(bytes.data(), bytes.size(), reference::payload_slack(width_) + shift);
        src_.row_count = static_cast<uint32_t>(rows);
        src_.enc_ctx = &encoding_;
        context_ = {};
        context_.host = static_cast<kdzk_host_env *>(support::unreadable());
    }

    void lay_selection(uint64_t density) {
        selected_ = support::mask(density, codes_.size(), random_);
        context_.sel_bv = static_cast<uint64_t *>(
            static_cast<void *>(selection_.ending_with(selected_.data(), selected_.size() * 8)));
        context_.row_list = static_cast<uint32_t *>(support::unreadable());
    }

    // Room for so many elements before an unreadable page. Without a selection nothing but the room may count.
    uint64_t call(uint64_t capacity, bool wide) {
        context_.wide_codes = wide ? 0x80 : 0;
        output_.restore();
        const size_t bytes = capacity * element_bytes(wide);
        written_ = output_.ending(bytes);
        dst_.data = written_;
        dst_.row_count = context_.sel_bv ? static_cast<uint32_t>(capacity) : 1;
        context_.selective = context_.sel_bv ? context_.selective : 1;
        dst_.hit_count = 0xDEADBEEF;
        const uint64_t status = kdzk_dispatch_table[slot_of(GetParam())].vec(&dst_, &src_, &context_);
        EXPECT_TRUE(output_.unchanged_but(written_, bytes));
        return status;
    }

    void expect_output(const std::vector<uint64_t> &rows, uint64_t status, uint32_t position, bool wide) {
        ASSERT_EQ(status, rows.empty() ? KDZK_STATUS_NO_HIT : KDZK_STATUS_OK);
        ASSERT_EQ(dst_.hit_count, rows.size());
        ASSERT_EQ(context_.row_pos, position);
        for (size_t i = 0; i < rows.size(); ++i) {
            uint64_t element = 0;
            std::memcpy(&element, written_ + i * element_bytes(wide), element_bytes(wide));
            ASSERT_EQ(element, codes_[rows[i]]) << "row " << rows[i];
        }
    }

    // The selected rows from the position on as far as there is room, and the position that is left.
    std::pair<std::vector<uint64_t>, uint32_t> walk(uint32_t start, uint64_t capacity) const {
        std::vector<uint64_t> rows;
        uint64_t row = start;
        for (; row < codes_.size() && rows.size() < capacity; ++row)
            if (reference::bit_at(selected_.data(), row))
                rows.push_back(row);
        const bool stays = capacity == 0 && context_.selective == 0;  // odd on purpose
        return {rows, static_cast<uint32_t>(stays ? start : row - 1)};
    }

    const uint32_t width_ = GetParam().width_bits;
    const uint64_t largest_ = reference::largest_code(width_);
    support::Random random_;
    support::GuardedMemory payload_{4 * 2000 + 64, random_}, output_{4 * 2000 + 64, random_}, selection_{512, random_};
    kdzk_enc_ctx encoding_{};
    kdzk_vec dst_{}, src_{};
    kdzk_exec_ctx context_{};
    std::vector<uint64_t> codes_, selected_;
    uint8_t *written_ = nullptr;
};

TEST_P(UnpackTest, WritesAllRowsFromItsPosition) {
    for (const uint64_t rows : support::kRowCounts)
        for (const uint64_t start : kPositions)
            for (const bool wide : {false, true}) {
                if (start > rows)
                    continue;
                lay_rows(rows, start % 3);
                context_.row_pos = static_cast<uint32_t>(start);
                std::vector<uint64_t> expected(rows - start);
                std::iota(expected.begin(), expected.end(), start);
                const uint64_t status = call(rows - start, wide);
                expect_output(expected, status, static_cast<uint32_t>(rows - 1), wide);
                if (HasFatalFailure())
                    FAIL() << rows << " rows from " << start << (wide ? ", wide" : "");
            }
}

TEST_P(UnpackTest, WritesTheRowsOfAList) {
    lay_rows(700, 0);
    for (const size_t length : {0u, 1u, 7u, 300u})
        for (const bool wide : {false, true}) {
            std::vector<uint32_t> list(length);
            for (uint32_t &row : list)
                row = static_cast<uint32_t>(random_.below(codes_.size()));
            list.reserve(1);  // an empty list is one all the same
            context_.row_list = list.data();
            context_.row_list_len = static_cast<uint32_t>(length);
            context_.row_pos = 77;
            const uint64_t status = call(length, wide);
            expect_output({list.begin(), list.end()}, status, length == 0 ? 77 : list.back(), wide);
        }
}

TEST_P(UnpackTest, WritesSelectedRowsAsFarAsThereIsRoom) {
    for (int round = 0; round < 400; ++round) {
        lay_rows(random_.below(3) == 0 ? random_.one_of(support::kRowCounts) : random_.below(1200), random_.below(8));
        lay_selection(random_.one_of(support::kDensities));
        const auto start = static_cast<uint32_t>(random_.below(std::min<uint64_t>(codes_.size(), 300) + 1));
        context_.selective = random_.below(2) == 0 ? 0 : 9;
        context_.row_pos = start;
        const uint64_t all = walk(start, codes_.size()).first.size();
        const uint64_t capacities[] = {0, 1, all, all + 1, all + 200, all - (all > 0 ? 1 : 0), random_.below(all + 1)};
        const uint64_t capacity = random_.one_of(capacities);
        const auto [rows, position] = walk(start, capacity);
        const bool wide = random_.below(2) == 0;
        const uint64_t status = call(capacity, wide);
        expect_output(rows, status, position, wide);
        if (HasFatalFailure())
            FAIL() << codes_.size() << " rows from " << start << ", capacity " << capacity << ", selective "
                   << context_.selective << (wide ? ", wide" : "");
    }
}

// As a host takes a long vector in slices: the position goes in as the first row to look at, and one is added between
// two calls.
TEST_P(UnpackTest, JoinsItsSlicesToTheSelection) {
    for (const uint32_t selective : {0u, 1u})
        for (const uint64_t density : {1u, 8u, 60u}) {
            lay_rows(1500, 0);
            lay_selection(density);
            context_.selective = selective;
            std::vector<uint64_t> joined;
            for (uint32_t position = 0; position < codes_.size(); position = context_.row_pos + 1) {
                context_.row_pos = position;
                const uint64_t capacity = 1 + random_.below(300);
                const auto [rows, last] = walk(position, capacity);
                const uint64_t status = call(capacity, false);
                ASSERT_NO_FATAL_FAILURE(expect_output(rows, status, last, false));
                joined.insert(joined.end(), rows.begin(), rows.end());
            }
            EXPECT_EQ(joined, walk(0, codes_.size()).first);
        }
}

INSTANTIATE_TEST_SUITE_P(, UnpackTest,
                         testing::ValuesIn(support::live_kernels(KDZK_OP_DECODE_UNPACK, KDZK_OP_DECODE_UNPACK)),
                         support::case_name);

}  // namespace
