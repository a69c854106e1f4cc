// bit_vectors.cpp: rates of the bit-vector functions that kernels and hosts use most.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "families.h"
#include "kdzk.h"
#include "rates.h"

// Two sources and a destination, a third of the working set each.
void register_bit_vectors(const WorkingSet &set) {
    const size_t words = set.bytes / 3 / 8 / 16 * 16, bytes = 3 * words * 8, all_words = set.bytes / 8;
    const std::string at = "/" + set.name, read = "read" + at;
    // function(dst, a, b, words)
    const auto over_two = [=](auto function) {
        const auto result = std::make_shared<std::vector<uint64_t>>(words);
        return [=] {
            benchmark::DoNotOptimize(function(result->data(), shared_words(), shared_words() + words, words));
            benchmark::ClobberMemory();
        };
    };
    measure_plain("and_plain" + at, read, {bytes, words * 64}, [=](const PlainLoops &loops) {
        return over_two([&loops](auto... arguments) { return loops.and_words(arguments...), 0; });
    });
    measure_plain("and_count_plain" + at, read, {bytes, words * 64},
                  [=](const PlainLoops &loops) { return over_two(loops.and_and_count_words); });
    measure_plain("count_plain" + at, read, {set.bytes, all_words * 64}, [=](const PlainLoops &loops) {
        return [=, &loops] { benchmark::DoNotOptimize(loops.count_words(shared_words(), all_words)); };
    });
    const auto conjunction = [=](bool counted) {
        return over_two([=](uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t count) {
            uint32_t ones = 0;
            kdzk_lbiwvand_dydi(dst, counted ? &ones : nullptr, a, b, count * 64);
            return ones;
        });
    };
    const auto count = [=] {
        return [=] {
            uint32_t ones;
            kdzk_lbiwvpopcnt_dydi(&ones, shared_words(), all_words * 64);
            benchmark::DoNotOptimize(ones);
        };
    };
    measure(
        "kdzk_lbiwvand_dydi" + at, read, {bytes, words * 64}, [=] { return conjunction(false); }, "and_plain" + at);
    measure(
        "kdzk_lbiwvand_dydi+count" + at, read, {bytes, words * 64}, [=] { return conjunction(true); },
        "and_count_plain" + at);
    measure("kdzk_lbiwvpopcnt_dydi" + at, read, {set.bytes, all_words * 64}, count, "count_plain" + at);
}

namespace {

// Rows a second are rows delivered.
void register_walks(const std::string &set, std::vector<uint64_t> words) {
    const uint32_t rows = uint32_t(words.size() * 64);
    const auto bits = std::make_shared<std::vector<uint64_t>>(std::move(words));
    const auto out = std::make_shared<std::vector<uint32_t>>(rows);
    const std::string bit_by_bit = "list_rows_bit_by_bit" + set, by_bit_scan = "list_rows" + set;
    const Work listed = {0, plain_loops().front()->list_rows(bits->data(), rows, out->data())};
    const auto list = [=](auto loop) {
        return [=] { benchmark::DoNotOptimize(loop(bits->data(), rows, out->data())); };
    };
    measure_plain(bit_by_bit, "", listed, [=](const PlainLoops &loops) { return list(loops.list_rows_bit_by_bit); });
    measure_plain(by_bit_scan, "", listed, [=](const PlainLoops &loops) { return list(loops.list_rows); });
    const auto one_by_one = [=] {
        return [=] {
            kdzk_lbiv_ictx walk;
            kdzk_lbiv_ictx_ini2_dydi(&walk, bits->data(), rows, 0, 0);
            while (kdzk_lbiwviter_dydi(&walk) != KDZK_LBIWV_END)
                benchmark::ClobberMemory();
        };
    };
    measure("kdzk_lbiwviter_dydi" + set, "", listed, one_by_one, bit_by_bit);
    for (const uint64_t batch : {8u, 256u}) {
        const auto by_batches = [=] {
            return [=] {
                kdzk_lbiv_ictx walk;
                kdzk_lbiv_ictx_ini2_dydi(&walk, bits->data(), rows, 0, 0);
                while (kdzk_lbiwvones_dydi(&walk, out->data(), batch) == batch)
                    benchmark::ClobberMemory();
            };
        };
        measure("kdzk_lbiwvones_dydi_by_" + std::to_string(batch) + set, "", listed, by_batches,
                batch == 8 ? bit_by_bit : by_bit_scan);
    }
}

}  // namespace

// Vectors too long for a processor to learn where their ones are.
void register_iteration() {
    constexpr uint32_t rows = 1 << 22;
    for (const uint32_t one_in : {10000u, 100u, 10u, 2u})
        register_walks("/1_in_" + std::to_string(one_in), random_bits(rows, one_in));
    std::vector<uint64_t> clusters(rows / 64);
    for (size_t word = 0; word < clusters.size(); word += 8)
        clusters[word] = shared_words()[word];
    register_walks("/clusters", clusters);
}
