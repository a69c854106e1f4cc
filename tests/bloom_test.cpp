// bloom_test.cpp: kdzk_bloom_dydi over flat and partitioned filters, both widths of hashes, scans and selections.
#include <gtest/gtest.h>

#include "reference/ypak_writer.h"
#include "support/guarded_memory.h"

namespace {

constexpr uint32_t kFilterBits = 1024, kPartitionBits = 128;

// The variant's bits: 1 hashes of 32 bits, 2 negated, 4 partitioned.
class BloomTest : public testing::TestWithParam<int> {
  protected:
    BloomTest() {
        for (uint8_t &byte : filter_bits_)
            byte = static_cast<uint8_t>(random_.word() & random_.word());
        for (size_t i = 0; i < kFilterBits / kPartitionBits; ++i)
            partitions_[i] = filter_bits_ + i * kPartitionBits / 8;
        void *const filter = partitioned_ ? static_cast<void *>(partitions_) : filter_bits_;
        filter_.res_bv = static_cast<uint64_t *>(filter);
        filter_.enc_ctx = &filter_encoding_;
        filter_encoding_.bloom_partitioned = partitioned_ ? 4 : 0;
        filter_encoding_.bloom_mask = kFilterBits - 1;
        filter_encoding_.bloom_shift = 7;
        filter_encoding_.bloom_part_mask = kPartitionBits - 1;
        src_.enc_ctx = &encoding_;
        encoding_.flags = KDZK_ENC_HASHES;
        encoding_.width = (GetParam() & 1) != 0 ? 32 : 64;
        context_.bloom_negate = negated_ ? 2 : 0;
        dst_.data = &span_;
    }

    // Half the rows in runs of one hash, so that there are blocks without a hit and without a miss.
    void lay_hashes(uint32_t rows) {
        std::vector<uint8_t> payload;
        hashes_.clear();
        for (uint32_t row = 0; row < rows; ++row) {
            const bool repeats = row > 0 && row / 32 % 2 == 1;
            hashes_.push_back(static_cast<uint32_t>(repeats ? hashes_.back() : random_.word()));
            reference::append_be(payload, (random_.word() << 32) + hashes_.back(), encoding_.width == 32 ? 4 : 8);
        }
        src_.data = payload_.ending_with(payload.data(), payload.size());
        src_.row_count = rows;
    }

    bool hits(uint32_t row) const { return reference::bit_at(filter_bits_, hashes_[row] % kFilterBits) != negated_; }

    // A hit in a block of 16 rows replaces the block's bits; single and selected rows only add theirs.
    uint32_t put_hits(uint8_t *result, kdzk_bloom_span &span) const {
        const uint32_t rows = src_.row_count, first_block = (context_.start_row + 7) / 8 * 8;
        uint32_t count = 0;
        for (uint32_t row = context_.start_row; row < rows; ++row) {
            if ((context_.sel_bv != nullptr && !reference::bit_at(context_.sel_bv, row)) || !hits(row))
                continue;
            const uint32_t block = row < first_block ? rows : row - (row - first_block) % 16;
            for (uint32_t other = block; block + 16 <= rows && !context_.sel_bv && other < block + 16; ++other)
                reference::put_bit(result, other, hits(other));
            reference::put_bit(result, row, true);
            span.first_row = count++ == 0 ? row : span.first_row;
            span.last_row = row;
        }
        return count;
    }

    void check(uint32_t rows, uint32_t start) {
        lay_hashes(rows);
        context_.start_row = start;
        result_.restore();
        const size_t bytes = (rows + 63) / 64 * 8;
        uint8_t *const result = result_.ending(bytes);
        std::vector<uint8_t> expected(result, result + bytes);
        kdzk_bloom_span span{0xFFFFFFFF, 0xFFFFFFFF};
        const uint32_t count = put_hits(expected.data(), span);
        dst_.res_bv = static_cast<uint64_t *>(static_cast<void *>(result));
        ASSERT_EQ(kdzk_bloom_dydi(&dst_, &src_, &filter_, &context_), count == 0 ? 1u : 0u)
            << rows << " from " << start;
        ASSERT_EQ(std::vector<uint8_t>(result, result + bytes), expected) << rows << " from " << start;
        ASSERT_TRUE(result_.unchanged_but(result, bytes));
        ASSERT_EQ(dst_.hit_count, count);
        ASSERT_TRUE(span_.first_row == span.first_row && span_.last_row == span.last_row);
    }

    const bool negated_ = (GetParam() & 2) != 0, partitioned_ = (GetParam() & 4) != 0;
    support::Random random_;
    support::GuardedMemory payload_{8192, random_}, result_{256, random_};
    uint8_t filter_bits_[kFilterBits / 8];
    uint8_t *partitions_[kFilterBits / kPartitionBits];
    std::vector<uint32_t> hashes_;
    kdzk_enc_ctx encoding_{}, filter_encoding_{};
    kdzk_vec dst_{}, src_{};
    kdzk_pred filter_{};
    kdzk_exec_ctx context_{};
    kdzk_bloom_span span_{};
};

TEST_P(BloomTest, ScansFromAnyStartToAnyEnd) {
    for (const uint32_t rows : {1u, 6u, 43u, 64u, 129u, 300u, 1000u})
        for (uint32_t start = 0; start <= rows && !HasFatalFailure(); start += start < 20 ? 1 : 61)
            check(rows, start);
}

TEST_P(BloomTest, WalksASelection) {
    for (const uint32_t rows : {1u, 255u, 256u, 257u, 513u, 1000u})
        for (const uint64_t density : support::kDensities)
            for (const uint32_t start : {0u, 70u % rows, rows}) {
                auto words = support::mask(density, rows, random_);
                words.push_back(0);  // the word at start is read even where start is behind the last
                context_.sel_bv = words.data();
                check(rows, start);
            }
}

TEST_P(BloomTest, RefusesWhatIsNotHashes) {
    encoding_.flags = ~uint32_t{KDZK_ENC_HASHES};
    dst_.hit_count = span_.first_row = 77;
    EXPECT_EQ(kdzk_bloom_dydi(&dst_, &src_, &filter_, &context_), uint64_t{KDZK_STATUS_NOT_HASHES});
    EXPECT_TRUE(dst_.hit_count == 77 && span_.first_row == 77);
}

INSTANTIATE_TEST_SUITE_P(, BloomTest, testing::Range(0, 8));

}  // namespace
