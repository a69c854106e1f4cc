// kernels_bench.cpp: rates of the predicate kernels over dictionary codes, found by walking the dispatch table so that
// a new width is measured the day it gets its slots, and of the bit-vector functions that kernels use, over working
// sets in the first cache, in the second, and beyond the last.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kdzk.h"
#include "memory_loops.h"
#include "rates.h"

extern "C" {
extern const char *const kdzk_dispatch_names[KDZK_TABLE_SLOTS];

void host_raise_internal_error(void *, void *, const char *message, int) {
    std::fprintf(stderr, "%s\n", message);
    std::abort();
}
}

namespace {

struct WorkingSet {
    const char *name;
    size_t bytes;
};

// Kernels take a row's bit position in 32 bits, and fewer than 2^31 rows.
constexpr size_t kLargestPayload = (size_t{1} << 29) - 4096;

// Half the first cache, half the second, and twice what the last holds, as far as payloads go.
std::vector<WorkingSet> working_sets() {
    const auto cache_bytes = [](int level, long otherwise) {
        const long bytes = sysconf(level);
        return size_t(bytes > 0 ? bytes : otherwise);
    };
    const size_t last = cache_bytes(_SC_LEVEL3_CACHE_SIZE, 32 << 20);
    return {{"L1", cache_bytes(_SC_LEVEL1_DCACHE_SIZE, 32 << 10) / 2},
            {"L2", cache_bytes(_SC_LEVEL2_CACHE_SIZE, 512 << 10) / 2},
            {"RAM", std::clamp<size_t>(2 * last, size_t{256} << 20, kLargestPayload)}};
}

// Random bytes for all benchmarks together; grown to the largest working set before the first run.
std::vector<uint64_t> shared_words;

const uint8_t *shared_bytes() { return reinterpret_cast<const uint8_t *>(shared_words.data()); }

void fill_shared(size_t bytes) {
    shared_words.resize(bytes / 8);
    std::mt19937_64 random(1);
    for (uint64_t &word : shared_words)
        word = random();
}

// A bit vector in which one bit in so many is set, in random places.
std::vector<uint64_t> random_bits(size_t rows, uint32_t one_in) {
    std::vector<uint64_t> words((rows + 63) / 64);
    std::mt19937 random(one_in);
    for (size_t row = 0; row < rows; ++row)
        words[row / 64] |= uint64_t{random() % one_in == 0} << row % 64;
    return words;
}

// The width behind a row of the table.
uint32_t width_of_slot(uint32_t slot) {
    uint32_t width = 1;
    while (kdzk_slot(KDZK_CLASS_DICT, width, 0, KDZK_FORM_PLAIN) / 128 % 32 != slot / 128 % 32)
        ++width;
    return width;
}

// One kernel over the shared bytes as its payload. Keys lie about a quarter from either end.
struct Scan {
    uint32_t slot, rows;
    uint64_t lower, upper;
    std::vector<uint64_t> result, selection;
    kdzk_enc_ctx encoding = {};
    kdzk_vec source = {}, destination = {};
    kdzk_pred lower_key = {}, upper_key = {};
    kdzk_exec_ctx context = {};

    Scan(uint32_t scanned_slot, uint32_t scanned_rows, uint32_t selected_one_in)
        : slot(scanned_slot), rows(scanned_rows), result(size_t{scanned_rows} / 64 + 1) {
        const uint64_t largest = ~uint64_t{0} >> (64 - width_of_slot(slot));
        lower = largest / 4 + 1;
        upper = largest - largest / 4;
        source.data = const_cast<uint8_t *>(shared_bytes());
        source.enc_ctx = &encoding;
        source.row_count = destination.row_count = rows;
        destination.res_bv = result.data();
        lower_key.data = &lower;
        upper_key.data = &upper;
        if (selected_one_in == 0)
            return;
        selection = random_bits(rows, selected_one_in);
        context.sel_bv = selection.data();
        context.selective = 1;
    }
    Scan(const Scan &) = delete;

    void operator()() {
        const kdzk_kernel kernel = kdzk_dispatch_table[slot];
        if (slot % 32 >= KDZK_OP_GT_LT)
            kernel.range(&destination, &source, &lower_key, &upper_key, &context);
        else
            kernel.key(&destination, &source, &lower_key, &context);
        benchmark::ClobberMemory();
    }
};

Comparison comparison_of(uint32_t operation) {
    if (operation == KDZK_OP_EQ || operation == KDZK_OP_NE)
        return Comparison::equality;
    return operation < KDZK_OP_GT_LT ? Comparison::one_bound : Comparison::two_bounds;
}

// The plain loop of the same task as a kernel.
std::string plain_scan_name(uint32_t slot, const std::string &set) {
    constexpr const char *names[] = {"plain_eq_", "plain_lt_", "plain_ge_le_"};
    const auto comparison = size_t(comparison_of(slot % 32));
    return names[comparison] + std::to_string(width_of_slot(slot)) + "bit/" + set;
}

size_t rows_in(size_t bytes, uint32_t width) { return std::min<size_t>(bytes * 8 / width, (size_t{1} << 31) - 1); }

void register_plain_scan(const WorkingSet &set, uint32_t slot) {
    const uint32_t width = width_of_slot(slot);
    const PlainScan scan = plain_scan(width, comparison_of(slot % 32));
    const Work work = {set.bytes, rows_in(set.bytes, width)};
    measure(plain_scan_name(slot, set.name), "read/" + std::string(set.name), work, [=] {
        const auto result = std::make_shared<std::vector<uint64_t>>(work.rows / 64 + 1);
        const uint64_t largest = ~uint64_t{0} >> (64 - width);
        return [=] {
            const uint64_t lower = largest / 4 + 1, upper = largest - largest / 4;
            benchmark::DoNotOptimize(scan(shared_bytes(), lower, upper, result->data(), uint32_t(work.rows)));
            benchmark::ClobberMemory();
        };
    });
}

// A selection of one row in so many, or none. Rows a second are rows tested.
void measure_scan(const std::string &set, uint32_t slot, Work work, uint32_t selected_one_in = 0) {
    const Work tested = {work.bytes, selected_one_in == 0 ? work.rows : work.rows / selected_one_in};
    const auto body = [=] {
        const auto scan = std::make_shared<Scan>(slot, uint32_t(work.rows), selected_one_in);
        return [scan] { (*scan)(); };
    };
    measure(std::string(kdzk_dispatch_names[slot]) + "/" + set, "read/" + set, tested, body,
            plain_scan_name(slot, set));
}

bool is_live_dict_predicate(uint32_t slot) {
    return slot / 32 % 4 == KDZK_CLASS_DICT && slot % 32 <= KDZK_OP_GE_LE
           && kdzk_dispatch_table[slot].invalid != kdzk_dispatch_table[KDZK_TABLE_SLOTS - 1].invalid;
}

void register_predicates(const WorkingSet &set) {
    for (uint32_t slot = 0; slot < KDZK_TABLE_SLOTS; ++slot) {
        if (!is_live_dict_predicate(slot))
            continue;
        const bool is_plain_form = slot / 128 < 32;
        if (is_plain_form && (slot % 32 == KDZK_OP_EQ || slot % 32 == KDZK_OP_LT || slot % 32 == KDZK_OP_GE_LE))
            register_plain_scan(set, slot);
        measure_scan(set.name, slot, {set.bytes, rows_in(set.bytes, width_of_slot(slot))});
    }
}

// What a call costs apart from its blocks.
void register_small_calls(uint32_t slot) {
    measure_scan("no_rows", slot, {});
    measure_scan("tail_of_31_rows", slot, {0, 31});
    for (const uint32_t one_in : {100u, 10u, 2u})
        measure_scan("selected_1_in_" + std::to_string(one_in), slot, {0, 1 << 16}, one_in);
}

void register_machine(const WorkingSet &set) {
    const size_t bytes = set.bytes;
    const std::string read = std::string("read/") + set.name;
    measure(read, read, {bytes, 0}, [=] { return [=] { benchmark::DoNotOptimize(read_all(shared_bytes(), bytes)); }; });
}

// Two sources and a destination, a third of the working set each.
void register_bit_vectors(const WorkingSet &set) {
    const size_t words = set.bytes / 3 / 8 / 16 * 16, bytes = 3 * words * 8;
    const auto add = [&](const std::string &name, auto function) {
        measure(name + "/" + set.name, std::string("and_plain/") + set.name, {bytes, words * 64}, [=] {
            const auto result = std::make_shared<std::vector<uint64_t>>(words);
            return [=] {
                function(result->data(), shared_words.data(), shared_words.data() + words, words);
                benchmark::ClobberMemory();
            };
        });
    };
    add("and_plain", and_words);
    add("and_count_plain", [](auto... arguments) { benchmark::DoNotOptimize(and_and_count_words(arguments...)); });
    add("kdzk_lbiwvand_dydi", [](uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t count) {
        kdzk_lbiwvand_dydi(dst, nullptr, a, b, count * 64);
    });
    add("kdzk_lbiwvand_dydi+count", [](uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t count) {
        uint32_t ones;
        kdzk_lbiwvand_dydi(dst, &ones, a, b, count * 64);
        benchmark::DoNotOptimize(ones);
    });
    const size_t all_words = set.bytes / 8;
    const std::string read = std::string("read/") + set.name;
    measure(std::string("count_plain/") + set.name, read, {set.bytes, all_words * 64},
            [=] { return [=] { benchmark::DoNotOptimize(count_words(shared_words.data(), all_words)); }; });
    measure(std::string("kdzk_lbiwvpopcnt_dydi/") + set.name, read, {set.bytes, all_words * 64}, [=] {
        return [=] {
            uint32_t ones;
            kdzk_lbiwvpopcnt_dydi(&ones, shared_words.data(), all_words * 64);
            benchmark::DoNotOptimize(ones);
        };
    });
}

// Rows a second are rows delivered.
void register_iteration(uint32_t one_in) {
    constexpr uint32_t rows = 1 << 16;
    const auto bits = std::make_shared<std::vector<uint64_t>>(random_bits(rows, one_in));
    const auto out = std::make_shared<std::vector<uint32_t>>(rows);
    const size_t ones = list_rows_bit_by_bit(bits->data(), rows, out->data());
    const std::string set = "/1_in_" + std::to_string(one_in), bit_by_bit = "list_rows_bit_by_bit" + set;
    measure("list_rows_bit_by_bit" + set, bit_by_bit, {0, ones},
            [=] { return [=] { benchmark::DoNotOptimize(list_rows_bit_by_bit(bits->data(), rows, out->data())); }; });
    measure("kdzk_lbiwvones_dydi_by_8" + set, bit_by_bit, {0, ones}, [=] {
        return [=] {
            kdzk_lbiv_ictx walk;
            kdzk_lbiv_ictx_ini2_dydi(&walk, bits->data(), rows, 0, 0);
            while (kdzk_lbiwvones_dydi(&walk, out->data(), 8) == 8)
                benchmark::ClobberMemory();
        };
    });
    measure("kdzk_lbiwviter_dydi" + set, bit_by_bit, {0, ones}, [=] {
        return [=] {
            kdzk_lbiv_ictx walk;
            kdzk_lbiv_ictx_ini2_dydi(&walk, bits->data(), rows, 0, 0);
            while (kdzk_lbiwviter_dydi(&walk) != KDZK_LBIWV_END)
                benchmark::ClobberMemory();
        };
    });
}

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    constexpr size_t slack_bytes = 64;  // more than any kernel reads behind its payload
    fill_shared(working_sets().back().bytes + slack_bytes);
    measure(kDependentAdds, "", {0, 1 << 16}, [] { return [] { benchmark::DoNotOptimize(dependent_adds(1 << 16)); }; });
    for (const WorkingSet &set : working_sets()) {
        register_machine(set);
        register_bit_vectors(set);
        register_predicates(set);
    }
    for (const uint32_t width : {1u, 5u, 8u, 12u, 24u, 64u})
        for (const uint32_t operation : {KDZK_OP_EQ, KDZK_OP_GE_LE})
            register_small_calls(kdzk_slot(KDZK_CLASS_DICT, width, operation, KDZK_FORM_NULL));
    for (const uint32_t one_in : {100u, 10u, 2u})
        register_iteration(one_in);
    RateTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
}
