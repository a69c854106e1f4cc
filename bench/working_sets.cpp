#include "working_sets.h"

#include <unistd.h>

#include <algorithm>
#include <random>

namespace {

// Kernels take a row's bit position in 32 bits, and fewer than 2^31 rows.
constexpr size_t kLargestPayload = (size_t{1} << 29) - 4096;

size_t cache_bytes(int level, long otherwise) {
    const long bytes = sysconf(level);
    return size_t(bytes > 0 ? bytes : otherwise);
}

std::vector<uint64_t> random_words(size_t bytes) {
    std::vector<uint64_t> words(bytes / 8);
    std::mt19937_64 random(1);
    for (uint64_t &word : words)
        word = random();
    return words;
}

}  // namespace

std::vector<WorkingSet> working_sets() {
    const size_t last = cache_bytes(_SC_LEVEL3_CACHE_SIZE, 32 << 20);
    return {{"L1", cache_bytes(_SC_LEVEL1_DCACHE_SIZE, 32 << 10) / 2},
            {"L2", cache_bytes(_SC_LEVEL2_CACHE_SIZE, 512 << 10) / 2},
            {"RAM", std::clamp<size_t>(2 * last, size_t{256} << 20, kLargestPayload)}};
}

const uint64_t *shared_words() {
    static const std::vector<uint64_t> words = random_words(working_sets().back().bytes + 64);
    return words.data();
}

std::vector<uint64_t> random_bits(size_t rows, uint32_t one_in) {
    std::vector<uint64_t> words((rows + 63) / 64);
    std::mt19937 random(one_in);
    for (size_t row = 0; row < rows; ++row)
        words[row / 64] |= uint64_t{random() % one_in == 0} << row % 64;
    return words;
}
