// burst_test.cpp: bits of runs to bits of rows, run by run, and what comes of failed assertions.
#include <gtest/gtest.h>

#include "reference/ypak_writer.h"
#include "support/assertion.h"
#include "support/predicate_call.h"

namespace {

using reference::append_be;
using reference::Kernel;
using support::last_assertion;

const std::vector<uint64_t> kLengths[] = {{0, 0, 1, 1, 2, 7, 8, 9, 55, 56, 57},
                                          {0, 1, 8, 56, 57, 63, 64, 65, 112, 113, 128, 200, 255},
                                          {0, 1, 64, 1000, 4096, 65535}};

class BurstTest : public testing::TestWithParam<Kernel> {
  protected:
    BurstTest() {
        src_.enc_ctx = &encoding_;
        src_.data = src_.lens = support::unreadable();
        src_.filter_bv = static_cast<uint64_t *>(support::unreadable());
        context_.host = static_cast<kdzk_host_env *>(support::unreadable());
        encoding_.flags = KDZK_RLE;
        encoding_.run_lens = encoding_.run_offs_be = support::unreadable();
    }

    // Runs by the first row of each and the end of the last, for a result of so many rows.
    void lay_runs(const std::vector<uint32_t> &starts, uint64_t rows) {
        starts_ = starts;
        encoding_.run_count = static_cast<uint32_t>(starts.size() - 1);
        dst_.row_count = static_cast<uint32_t>(rows);
    }

    // Lays down no more of the runs' places than the wanted ones need.
    void want(const std::vector<uint64_t> &wanted) {
        wanted_ = wanted;
        size_t end = encoding_.run_count;
        while (end > 0 && !reference::bit_at(wanted_.data(), end - 1))
            --end;
        std::vector<uint8_t> bytes;
        for (size_t run = 0; run <= end && end > 0; ++run) {
            if (is_cla_)
                append_be(bytes, starts_[run], 4);
            else if (run > 0)
                append_be(bytes, starts_[run] - starts_[run - 1], GetParam().width_bits / 8);
        }
        (is_cla_ ? encoding_.run_offs_be : encoding_.run_lens) = places_.ending_with(bytes.data(), bytes.size());
        context_.sel_bv =
            static_cast<uint64_t *>(static_cast<void *>(selection_.ending_with(wanted_.data(), wanted_.size() * 8)));
    }

    uint64_t call(size_t shift) {
        result_.restore();
        dst_.res_bv = static_cast<uint64_t *>(static_cast<void *>(result_.ending(result_bytes(), shift)));
        dst_.hit_count = 0xDEADBEEF;
        return kdzk_dispatch_table[slot_of(GetParam())].vec(&dst_, &src_, &context_);
    }
    size_t result_bytes() const { return (size_t{dst_.row_count} + 63) / 64 * 8; }

    void expect_bits_of_wanted_runs(size_t shift) {
        std::vector<uint8_t> expected(result_bytes());
        uint32_t rows = 0;
        for (size_t run = 0; run < encoding_.run_count; ++run) {
            if (!reference::bit_at(wanted_.data(), run))
                continue;
            for (uint32_t row = starts_[run]; row < starts_[run + 1]; ++row)
                reference::put_bit(expected.data(), row, true);
            rows += starts_[run + 1] - starts_[run];
        }
        ASSERT_EQ(call(shift), rows == 0 ? KDZK_STATUS_NO_HIT : KDZK_STATUS_OK);
        ASSERT_EQ(dst_.hit_count, rows);
        const auto *const written = reinterpret_cast<const uint8_t *>(dst_.res_bv);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), written));
        ASSERT_TRUE(result_.unchanged_but(written, expected.size()));
    }

    const bool is_cla_ = GetParam().form == KDZK_FORM_CLA, gives_up_ = GetParam().width_bits == 8;
    support::Random random_;
    support::GuardedMemory places_{4096, random_}, selection_{512, random_}, result_{1 << 21, random_};
    std::vector<uint32_t> starts_;
    std::vector<uint64_t> wanted_;
    kdzk_enc_ctx encoding_{};
    kdzk_vec dst_{}, src_{};
    kdzk_exec_ctx context_{};
};

TEST_P(BurstTest, SetsTheRowsOfWantedRuns) {
    for (const uint64_t runs : {0u, 1u, 2u, 5u, 63u, 64u, 65u, 128u, 130u})
        for (const std::vector<uint64_t> &lengths : kLengths)
            for (const uint64_t density : support::kDensities) {
                std::vector<uint32_t> starts = {0};
                const uint64_t longest = is_cla_ || GetParam().width_bits == 16 ? 0xFFFF : 0xFF;
                while (starts.size() <= runs)
                    starts.push_back(starts.back() + static_cast<uint32_t>(random_.one_of(lengths) & longest));
                lay_runs(starts, starts.back() + random_.below(200));
                want(support::mask(density, runs, random_));
                ASSERT_NO_FATAL_FAILURE(expect_bits_of_wanted_runs(random_.below(8))) << runs << " runs";
            }
}

TEST_P(BurstTest, JoinsRunsThatOverlap) {
    lay_runs({0, 100, 50, 200}, 250);
    want({5});
    if (is_cla_)
        expect_bits_of_wanted_runs(0);
}

// Kept on purpose: the 8-bit forms give up, the 16-bit forms go on.
TEST_P(BurstTest, ReportsBothAssertions) {
    const std::string about_flag = "KDZK_ENC_CTX_FLAG(KDZK_VEC_ENC_CTX(src), KDZK_RLE)";
    const std::string about_result = "kdzk_bv_res != kdzk_bv_aux";
    lay_runs({0, 100, 160}, 200);
    for (const bool has_flag : {true, false})
        for (const bool is_selection : {true, false}) {
            want({3});
            encoding_.flags = has_flag ? uint32_t{KDZK_RLE} : ~uint32_t{KDZK_RLE};
            dst_.row_count = 200;
            if (is_selection)
                context_.sel_bv = static_cast<uint64_t *>(static_cast<void *>(result_.ending(result_bytes())));
            last_assertion = {{}, "", true};
            const uint64_t status = call(0);
            last_assertion.returns = false;
            std::vector<std::string> expected;
            if (!has_flag)
                expected.push_back(about_flag);
            if (is_selection && (has_flag || !gives_up_))
                expected.push_back(about_result);
            if (is_selection && has_flag && gives_up_)
                expected.push_back(about_flag);
            EXPECT_EQ(last_assertion.expressions, expected);
            EXPECT_EQ(last_assertion.file, expected.empty() ? "" : "common/data/qvk/x86/kdzkc_x86");
            const bool sets = !is_selection && (has_flag || !gives_up_);
            EXPECT_EQ(status, sets ? KDZK_STATUS_OK : KDZK_STATUS_NO_HIT);
            EXPECT_EQ(dst_.hit_count, sets ? 160u : 0u);
            const auto *const written = reinterpret_cast<const uint8_t *>(dst_.res_bv);
            EXPECT_TRUE(result_.unchanged_but(written, expected.empty() || !gives_up_ ? result_bytes() : 0));
            // The result is cleared first, and with it what is wanted.
            if (is_selection && !gives_up_) {
                EXPECT_EQ(std::count(written, written + result_bytes(), 0), static_cast<long>(result_bytes()));
            }
        }
}

INSTANTIATE_TEST_SUITE_P(, BurstTest, testing::ValuesIn(support::live_kernels(KDZK_OP_BURST, KDZK_OP_BURST)),
                         support::case_name);

}  // namespace
