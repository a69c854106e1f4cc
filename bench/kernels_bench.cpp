// kernels_bench.cpp: rates of every kernel in the dispatch table and of the bit-vector functions, over working sets in
// the first cache, in the second, and beyond the last. Kernels are found by walking the table, so that a new one is
// measured the day it gets a slot.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
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

// Half the first cache, half the second, and twice what the last holds.
std::vector<WorkingSet> working_sets() {
    const auto cache_bytes = [](int level, long otherwise) {
        const long bytes = sysconf(level);
        return size_t(bytes > 0 ? bytes : otherwise);
    };
    const size_t last = cache_bytes(_SC_LEVEL3_CACHE_SIZE, 32 << 20);
    return {{"L1", cache_bytes(_SC_LEVEL1_DCACHE_SIZE, 32 << 10) / 2},
            {"L2", cache_bytes(_SC_LEVEL2_CACHE_SIZE, 512 << 10) / 2},
            {"RAM", std::max<size_t>(size_t{256} << 20, 2 * last)}};
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

// Names of all benchmarks, in the order of registration.
std::vector<std::string> names_in_order;

template <typename Body>
void measure(const std::string &name, size_t bytes, size_t rows, Body body) {
    names_in_order.push_back(name);
    benchmark::RegisterBenchmark(name.c_str(), [bytes, rows, body](benchmark::State &state) {
        auto call = body();
        for (auto _ : state)
            call();
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
        state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(rows));
    });
}

// One kernel over the shared bytes as its payload.
struct Scan {
    uint32_t slot, rows;
    bool range;
    uint32_t selected_one_in = 0;  // 0: no selection
    uint8_t lower = 64, upper = 191;
    std::vector<uint64_t> result, selection;
    kdzk_enc_ctx enc = {};
    kdzk_vec source = {}, destination = {};
    kdzk_pred lower_key = {}, upper_key = {};
    kdzk_exec_ctx context = {};

    void prepare() {
        result.resize(size_t{rows} / 64 + 1);
        source.data = const_cast<uint8_t *>(shared_bytes());
        source.enc_ctx = &enc;
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

    void operator()() {
        const kdzk_kernel kernel = kdzk_dispatch_table[slot];
        if (range)
            kernel.range(&destination, &source, &lower_key, &upper_key, &context);
        else
            kernel.key(&destination, &source, &lower_key, &context);
        benchmark::ClobberMemory();
    }
};

void measure_scan(const std::string &name, uint32_t slot, uint32_t operation, uint32_t rows, size_t bytes,
                  uint32_t selected_one_in = 0) {
    const size_t tested = selected_one_in == 0 ? rows : rows / selected_one_in;
    measure(name, bytes, tested, [=] {
        const auto scan = std::make_shared<Scan>();
        scan->slot = slot;
        scan->rows = rows;
        scan->range = operation >= KDZK_OP_GT_LT;
        scan->selected_one_in = selected_one_in;
        scan->prepare();
        return [scan] { (*scan)(); };
    });
}

void register_predicates(const WorkingSet &set) {
    for (uint32_t slot = 0; slot < KDZK_TABLE_SLOTS; ++slot) {
        const uint32_t operation = slot % 32;
        const std::string kernel = kdzk_dispatch_names[slot];
        if (operation > KDZK_OP_GE_LE || kernel == "kdzk_invalid_dispatch")
            continue;
        measure_scan(kernel + "/" + set.name, slot, operation, uint32_t(set.bytes), set.bytes);
    }
}

void register_small_calls(uint32_t slot) {
    const std::string kernel = kdzk_dispatch_names[slot];
    measure_scan(kernel + "/no_rows", slot, slot % 32, 0, 0);
    measure_scan(kernel + "/127_rows", slot, slot % 32, 127, 127);
    for (const uint32_t one_in : {100u, 10u, 2u})
        measure_scan(kernel + "/selected_1_in_" + std::to_string(one_in), slot, slot % 32, 1 << 16, 0, one_in);
}

void register_machine(const WorkingSet &set) {
    const size_t bytes = set.bytes;
    measure(std::string("read/") + set.name, bytes, 0,
            [=] { return [=] { benchmark::DoNotOptimize(read_all(shared_bytes(), bytes)); }; });
    measure(std::string("scalar_eq_8bit/") + set.name, bytes, bytes, [=] {
        const auto result = std::make_shared<std::vector<uint64_t>>(bytes / 64);
        return [=] {
            benchmark::DoNotOptimize(compare_bytes(shared_bytes(), 7, result->data(), uint32_t(bytes)));
            benchmark::ClobberMemory();
        };
    });
}

// Two sources and a destination, a third of the working set each.
void register_bit_vectors(const WorkingSet &set) {
    const size_t words = set.bytes / 3 / 8 / 16 * 16, bytes = 3 * words * 8;
    const auto add = [&](const std::string &name, auto function) {
        measure(name + "/" + set.name, bytes, words * 64, [=] {
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
    measure(std::string("count_plain/") + set.name, set.bytes, all_words * 64,
            [=] { return [=] { benchmark::DoNotOptimize(count_words(shared_words.data(), all_words)); }; });
    measure(std::string("kdzk_lbiwvpopcnt_dydi/") + set.name, set.bytes, all_words * 64, [=] {
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
    const std::string set = "/1_in_" + std::to_string(one_in);
    measure("list_rows_bit_by_bit" + set, 0, ones,
            [=] { return [=] { benchmark::DoNotOptimize(list_rows_bit_by_bit(bits->data(), rows, out->data())); }; });
    measure("kdzk_lbiwvones_dydi_by_8" + set, 0, ones, [=] {
        return [=] {
            kdzk_lbiv_ictx walk;
            kdzk_lbiv_ictx_ini2_dydi(&walk, bits->data(), rows, 0, 0);
            while (kdzk_lbiwvones_dydi(&walk, out->data(), 8) == 8)
                benchmark::ClobberMemory();
        };
    });
    measure("kdzk_lbiwviter_dydi" + set, 0, ones, [=] {
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
    fill_shared(working_sets().back().bytes);
    measure("dependent_adds/core", 0, 1 << 16,
            [] { return [] { benchmark::DoNotOptimize(dependent_adds(1 << 16)); }; });
    for (const WorkingSet &set : working_sets()) {
        register_machine(set);
        register_bit_vectors(set);
        register_predicates(set);
    }
    register_small_calls(kdzk_slot(KDZK_CLASS_DICT, 8, KDZK_OP_EQ, KDZK_FORM_PLAIN));
    for (const uint32_t one_in : {100u, 10u, 2u})
        register_iteration(one_in);
    RateTable table(names_in_order);
    benchmark::RunSpecifiedBenchmarks(&table);
}
