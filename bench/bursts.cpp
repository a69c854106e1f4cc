// bursts.cpp: rates of the burst kernels, by the mean length of runs, half of which are wanted. Rows a second are rows
// of the result.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "families.h"
#include "rates.h"

namespace {

constexpr uint32_t kRows = 1 << 17;  // a result of 16 KiB

struct Call {
    std::vector<uint8_t> lengths, starts;
    std::vector<uint64_t> wanted, result = std::vector<uint64_t>(kRows / 64 + 1);
    kdzk_enc_ctx encoding = {};
    kdzk_vec source = {}, destination = {};
    kdzk_exec_ctx context = {};

    Call(uint32_t length_bytes, uint32_t mean_rows) {
        std::mt19937 random(mean_rows);
        std::exponential_distribution<double> length(1.0 / mean_rows);
        const auto append_be = [](std::vector<uint8_t> &to, uint32_t value, uint32_t bytes) {
            while (bytes-- > 0)
                to.push_back(uint8_t(value >> 8 * bytes));
        };
        const uint32_t longest = (1u << 8 * length_bytes) - 1;
        uint32_t runs = 0;
        for (uint32_t row = 0, rows = 0; row < kRows; row += rows, ++runs) {
            rows = std::min({1 + uint32_t(length(random)), longest, kRows - row});
            append_be(lengths, rows, length_bytes);
            append_be(starts, row, 4);
        }
        append_be(starts, kRows, 4);
        wanted = random_bits(runs, 2);
        encoding.flags = KDZK_RLE;
        encoding.run_lens = lengths.data();
        encoding.run_offs_be = starts.data();
        encoding.run_count = runs;
        source.enc_ctx = &encoding;
        destination.res_bv = result.data();
        destination.row_count = kRows;
        context.sel_bv = wanted.data();
    }
    Call(const Call &) = delete;

    uint32_t start_of(uint64_t run) const {
        uint32_t start;
        std::memcpy(&start, starts.data() + 4 * run, 4);
        return __builtin_bswap32(start);
    }

    // Calls set(first, rows) for every wanted run, with the length from where the kernel takes it.
    template <bool by_lengths, typename Set>
    void for_each_wanted(uint32_t length_bytes, Set set) {
        kdzk_lbiv_ictx walk;
        kdzk_lbiwv_ictx_ini2_dydi(&walk, wanted.data(), encoding.run_count, 0, 0);
        uint64_t next = 0, start = 0;
        const auto length_of = [&](uint64_t run) -> uint32_t {
            return length_bytes == 1 ? lengths[run] : lengths[2 * run] * 256u + lengths[2 * run + 1];
        };
        for (uint64_t run; (run = kdzk_lbiwviter_dydi(&walk)) != KDZK_LBIWV_END;) {
            if (by_lengths) {
                for (; next < run; ++next)
                    start += length_of(next);
                set(start, length_of(run));
            } else {
                set(uint64_t{start_of(run)}, start_of(run + 1) - start_of(run));
            }
        }
    }

    template <bool by_lengths>
    void or_seven_bytes_at_a_time(uint32_t length_bytes) {
        std::memset(result.data(), 0, kRows / 8);
        const auto or_at = [](uint8_t *at, uint64_t bits) {
            uint64_t word;
            std::memcpy(&word, at, 8);
            word |= bits;
            std::memcpy(at, &word, 8);
        };
        for_each_wanted<by_lengths>(length_bytes, [&](uint64_t first, uint32_t rows) {
            uint8_t *at = reinterpret_cast<uint8_t *>(result.data()) + first / 8;
            for (; rows > 56; rows -= 56, at += 7)
                or_at(at, 0x00FFFFFFFFFFFFFFull << first % 8);
            or_at(at, ((uint64_t{1} << rows) - 1) << first % 8);
        });
        benchmark::ClobberMemory();
    }

    template <bool by_lengths>
    void burst_by(const PlainLoops &loops, uint32_t length_bytes) {
        std::memset(result.data(), 0, kRows / 8);
        const PlainBurst burst = loops.burst(8 * length_bytes, !by_lengths);
        const uint8_t *const runs = by_lengths ? lengths.data() : starts.data();
        benchmark::DoNotOptimize(burst(runs, encoding.run_count, wanted.data(), result.data()));
        benchmark::ClobberMemory();
    }

    template <bool by_lengths>
    void set_ranges(uint32_t length_bytes) {
        std::memset(result.data(), 0, kRows / 8);
        for_each_wanted<by_lengths>(length_bytes, [&](uint64_t first, uint32_t rows) {
            kdzk_lbiwvset_range_dydi(result.data(), first, first + rows - 1);
        });
        benchmark::ClobberMemory();
    }
};

template <bool by_lengths>
void register_burst(uint32_t width, uint32_t mean_rows) {
    const uint32_t slot = kdzk_slot(KDZK_CLASS_RLE, width, KDZK_OP_BURST, by_lengths ? KDZK_FORM_PLAIN : KDZK_FORM_CLA);
    const std::string name = kdzk_dispatch_names[slot] + ("/mean_" + std::to_string(mean_rows));
    const Work work = {kRows / 8, kRows};
    measure_plain("plain_" + name, "memset/burst", work, [=](const PlainLoops &loops) {
        const auto call = std::make_shared<Call>(width / 8, mean_rows);
        return [=, &loops] { call->burst_by<by_lengths>(loops, width / 8); };
    });
    const auto add = [&](const std::string &prefix, auto run) {
        measure(
            prefix + name, "memset/burst", work,
            [=] {
                const auto call = std::make_shared<Call>(width / 8, mean_rows);
                return [=] { run(*call); };
            },
            prefix.empty() ? "plain_" + name : "");
    };
    add("or_", [=](Call &call) { call.or_seven_bytes_at_a_time<by_lengths>(width / 8); });
    add("set_range_", [=](Call &call) { call.set_ranges<by_lengths>(width / 8); });
    add("", [=](Call &call) {
        kdzk_dispatch_table[slot].vec(&call.destination, &call.source, &call.context);
        benchmark::ClobberMemory();
    });
}

}  // namespace

void register_bursts() {
    measure("memset/burst", "", {kRows / 8, kRows}, [] {
        const auto result = std::make_shared<std::vector<uint64_t>>(kRows / 64 + 1);
        return [=] {
            std::memset(result->data(), 0, kRows / 8);
            benchmark::ClobberMemory();
        };
    });
    for (const uint32_t mean_rows : {1u, 4u, 16u, 50u, 150u, 500u, 1500u, 5000u, 15000u, 60000u}) {
        if (mean_rows <= 255) {
            register_burst<true>(8, mean_rows);
            register_burst<false>(8, mean_rows);
        }
        register_burst<true>(16, mean_rows);
        register_burst<false>(16, mean_rows);
    }
}
