// random_data.h: data that reaches the corners, from one seed a run. A failing run prints the seed; the same seed in
// KDZK_TEST_SEED repeats it.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <vector>

namespace support {

inline uint64_t run_seed() {
    const char *const wanted = std::getenv("KDZK_TEST_SEED");
    static const uint64_t seed = wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : std::random_device{}();
    return seed;
}

class Random {
  public:
    ~Random() {
        if (testing::Test::HasFailure())
            std::cout << "repeat with KDZK_TEST_SEED=" << run_seed() << std::endl;
    }
    uint64_t word() { return engine_(); }
    uint64_t below(uint64_t limit) { return engine_() % limit; }
    template <class Values>
    auto one_of(const Values &values) {
        return values[below(std::size(values))];
    }

  private:
    std::mt19937_64 engine_{run_seed()};
};

// One bit a row in whole words, with whatever bits above the rows. Density counts the ones in 64 rows.
inline constexpr uint64_t kDensities[] = {0, 1, 8, 32, 63, 64};
inline std::vector<uint64_t> mask(uint64_t density, uint64_t rows, Random &random) {
    std::vector<uint64_t> words((rows + 63) / 64);
    for (uint64_t row = 0; row < words.size() * 64; ++row) {
        const uint64_t bit = random.below(64) < (row < rows ? density : 32) ? 1 : 0;
        words[row / 64] |= bit << row % 64;
    }
    return words;
}

// Codes of which many are a key, its neighbour or a bit off it, others an extreme, a single bit or anything.
inline std::vector<uint64_t> codes_around(const std::vector<uint64_t> &keys, uint64_t largest, uint64_t rows,
                                          Random &random) {
    std::vector<uint64_t> codes(rows);
    for (uint64_t &code : codes) {
        const uint64_t near = random.one_of(keys) - 1 + random.below(3), middle = largest / 2 + random.below(2);
        const uint64_t bit = uint64_t{1} << random.below(static_cast<uint64_t>(std::bit_width(largest)));
        const uint64_t choices[] = {random.one_of(keys),       near, middle,  bit,
                                    random.one_of(keys) ^ bit, 0,    largest, random.word()};
        code = random.one_of(choices) & largest;
    }
    return codes;
}

}  // namespace support
