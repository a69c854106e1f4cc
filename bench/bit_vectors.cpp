// bit_vectors.cpp: rates of the bit-vector functions that kernels and hosts use most.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "families.h"
#include "kdzk.h"
#include "memory_loops.h"
#include "rates.h"

// Two sources and a destination, a third of the working set each.
void register_bit_vectors(const WorkingSet &set) {
    const size_t words = set.bytes / 3 / 8 / 16 * 16, bytes = 3 * words * 8;
    const auto add = [&](const std::string &name, const std::string &plain, auto function) {
        measure(
            name + "/" + set.name, "and_plain/" + set.name, {bytes, words * 64},
            [=] {
                const auto result = std::make_shared<std::vector<uint64_t>>(words);
                return [=] {
                    function(result->data(), shared_words(), shared_words() + words, words);
                    benchmark::ClobberMemory();
                };
            },
            plain.empty() ? "" : plain + "/" + set.name);
    };
    add("and_plain", "", and_words);
    add("and_count_plain", "", [](auto... arguments) { benchmark::DoNotOptimize(and_and_count_words(arguments...)); });
    add("kdzk_lbiwvand_dydi", "and_plain", [](uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t count) {
        kdzk_lbiwvand_dydi(dst, nullptr, a, b, count * 64);
    });
    const std::string counted = "kdzk_lbiwvand_dydi+count";
    add(counted, "and_count_plain", [](uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t count) {
        uint32_t ones;
        kdzk_lbiwvand_dydi(dst, &ones, a, b, count * 64);
        benchmark::DoNotOptimize(ones);
    });
    const size_t all_words = set.bytes / 8;
    const std::string read = "read/" + set.name;
    measure("count_plain/" + set.name, read, {set.bytes, all_words * 64},
            [=] { return [=] { benchmark::DoNotOptimize(count_words(shared_words(), all_words)); }; });
    const auto count = [=] {
        return [=] {
            uint32_t ones;
            kdzk_lbiwvpopcnt_dydi(&ones, shared_words(), all_words * 64);
            benchmark::DoNotOptimize(ones);
        };
    };
    measure("kdzk_lbiwvpopcnt_dydi/" + set.name, read, {set.bytes, all_words * 64}, count, "count_plain/" + set.name);
}

// Rows a second are rows delivered.
void register_iteration(uint32_t one_in) {
    constexpr uint32_t rows = 1 << 16;
    const auto bits = std::make_shared<std::vector<uint64_t>>(random_bits(rows, one_in));
    const auto out = std::make_shared<std::vector<uint32_t>>(rows);
    const size_t ones = list_rows_bit_by_bit(bits->data(), rows, out->data());
    const std::string set = "/1_in_" + std::to_string(one_in), bit_by_bit = "list_rows_bit_by_bit" + set;
    measure(bit_by_bit, "", {0, ones},
            [=] { return [=] { benchmark::DoNotOptimize(list_rows_bit_by_bit(bits->data(), rows, out->data())); }; });
    const auto by_8 = [=] {
        return [=] {
            kdzk_lbiv_ictx walk;
            kdzk_lbiv_ictx_ini2_dydi(&walk, bits->data(), rows, 0, 0);
            while (kdzk_lbiwvones_dydi(&walk, out->data(), 8) == 8)
                benchmark::ClobberMemory();
        };
    };
    const auto one_by_one = [=] {
        return [=] {
            kdzk_lbiv_ictx walk;
            kdzk_lbiv_ictx_ini2_dydi(&walk, bits->data(), rows, 0, 0);
            while (kdzk_lbiwviter_dydi(&walk) != KDZK_LBIWV_END)
                benchmark::ClobberMemory();
        };
    };
    measure("kdzk_lbiwvones_dydi_by_8" + set, "", {0, ones}, by_8, bit_by_bit);
    measure("kdzk_lbiwviter_dydi" + set, "", {0, ones}, one_by_one, bit_by_bit);
}
