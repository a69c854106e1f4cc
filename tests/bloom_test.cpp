// bloom_test.cpp: kdzk_bloom_dydi over flat and partitioned filters, both widths of hashes, scans and selections.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "reference/ypak_writer.h"
#include "support/guarded_memory.h"

namespace {

constexpr uint32_t kFilterBits = 1024, kPartitionBits = 128;

// One more bit of the mask, set in all hashes, makes the filter a large one, of which only the end is there.
constexpr uint32_t kLargeBit = 1 << 23;

// The variant's bits: 1 hashes of 32 bits, 2 negated, 4 partitioned, 8 a large filter.
class BloomTest : public testing::TestWithParam<int> {
  protected:
    BloomTest() {
        for (size_t i = 0; i < kFilterBits / 8; ++i)
            filter_bits_[i] = static_cast<uint8_t>(random_.word() & random_.word());
        for (size_t i = 0; i < kFilterBits / kPartitionBits; ++i)
            partitions_[i] = filter_bits_ + i * kPartitionBits / 8;
        const uintptr_t flat = reinterpret_cast<uintptr_t>(filter_bits_) - large_bit_ / 8;
        const uintptr_t parted = reinterpret_cast<uintptr_t>(partitions_) - large_bit_ / kPartitionBits * 8;
        filter_.res_bv = reinterpret_cast<uint64_t *>(partitioned_ ? parted : flat);
        filter_.enc_ctx = &filter_encoding_;
        filter_encoding_.bloom_partitioned = partitioned_ ? 4 : 0;
        filter_encoding_.bloom_mask = kFilterBits - 1 + large_bit_;
        filter_encoding_.bloom_shift = 7;
        filter_encoding_.bloom_part_mask = negated_ ? 0x5B : kPartitionBits - 1;  // any bits of the hash
        src_.enc_ctx = &encoding_;
        encoding_.flags = KDZK_ENC_HASHES;
        encoding_.width = (GetParam() & 1) != 0 ? 32 : negated_ ? 33 : 64;  // all but 32 mean eight bytes
        context_.bloom_negate = negated_ ? 2 : 0;
        dst_.data = &span_;
    }

    // Half the rows in runs of one hash, so that there are blocks without a hit and without a miss.
    void lay_hashes(uint32_t rows) {
        std::vector<uint8_t> payload;
        hashes_.clear();
        for (uint32_t row = 0; row < rows; ++row) {
            const bool repeats = row > 0 && row / 32 % 2 == 1;
            hashes_.push_back(static_cast<uint32_t>(repeats ? hashes_.back() : random_.word() | large_bit_));
            reference::append_be(payload, (random_.word() << 32) + hashes_.back(), encoding_.width == 32 ? 4 : 8);
        }
        src_.data = payload_.ending_with(payload.data(), payload.size());
        src_.row_count = rows;
    }

    // A shift that is too large takes blocks to partition 0.
    bool hits(uint32_t row, bool in_block) const {
        const bool lost = in_block && filter_encoding_.bloom_shift >= 32;
        const uint32_t flat = hashes_[row] % kFilterBits, partition = lost ? 0 : flat / kPartitionBits;
        const uint32_t in_partition = flat & filter_encoding_.bloom_part_mask;
        return reference::bit_at(filter_bits_, partitioned_ ? partition * kPartitionBits + in_partition : flat)
               != negated_;
    }

    // A hit in a block of 16 rows replaces the block's bits; single and selected rows only add theirs.
    uint32_t put_hits(uint8_t *result, kdzk_bloom_span &span) const {
        const uint32_t rows = src_.row_count, first_block = (context_.start_row + 7) / 8 * 8;
        uint32_t count = 0;
        for (uint32_t row = context_.start_row; row < rows; ++row) {
            const uint32_t block = row < first_block ? rows : row - (row - first_block) % 16;
            const bool in_block = block + 16 <= rows && !context_.sel_bv;
            if ((context_.sel_bv != nullptr && !reference::bit_at(context_.sel_bv, row)) || !hits(row, in_block))
                continue;
            for (uint32_t other = block; in_block && other < block + 16; ++other)
                reference::put_bit(result, other, hits(other, true));
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
    const uint32_t large_bit_ = (GetParam() & 8) != 0 ? kLargeBit : 0;
    support::Random random_;
    support::GuardedMemory payload_{8192, random_}, result_{256, random_}, filter_memory_{kFilterBits / 8, random_};
    uint8_t *const filter_bits_ = filter_memory_.ending(kFilterBits / 8);
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
    for (const uint32_t rows : {1u, 255u, 256u, 257u, 512u, 513u, 1000u})
        for (const uint64_t density : support::kDensities)
            for (const uint32_t start : {0u, 70u % rows, rows}) {
                auto words = support::mask(density, rows, random_);
                words.push_back(0);  // the word at start is read even where start is behind the last
                context_.sel_bv = words.data();
                check(rows, start);
            }
}

// Odd on purpose: single rows shift by the lower five bits, blocks by all.
TEST_P(BloomTest, ShiftsBlocksOutOfTheirPartitions) {
    filter_encoding_.bloom_shift += 32;
    for (const uint32_t start : {0u, 3u, 70u})
        if (large_bit_ == 0)
            check(300, start);
}

TEST_P(BloomTest, ServesTwoThreadsAtOnce) {
    check(1000, 0);
    const auto probe = [this](std::vector<uint64_t> &result) {
        kdzk_bloom_span span;
        kdzk_vec dst{};
        dst.data = &span;
        dst.res_bv = result.data();
        kdzk_exec_ctx context = context_;
        for (int round = 0; round < 100; ++round)
            kdzk_bloom_dydi(&dst, &src_, &filter_, &context);
    };
    std::vector<uint64_t> here(16), there(16);
    std::thread other(probe, std::ref(there));
    probe(here);
    other.join();
    EXPECT_EQ(here, there);
    for (uint32_t row = 0; row < 1000; ++row)
        ASSERT_EQ(reference::bit_at(here.data(), row), hits(row, true)) << row;
}

TEST_P(BloomTest, RefusesWhatIsNotHashes) {
    encoding_.flags = ~uint32_t{KDZK_ENC_HASHES};
    dst_.hit_count = span_.first_row = 77;
    EXPECT_EQ(kdzk_bloom_dydi(&dst_, &src_, &filter_, &context_), uint64_t{KDZK_STATUS_NOT_HASHES});
    EXPECT_TRUE(dst_.hit_count == 77 && span_.first_row == 77);
}

INSTANTIATE_TEST_SUITE_P(, BloomTest, testing::Range(0, 16));

}  // namespace
