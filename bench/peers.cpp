// peers.cpp: rates of libraries that a host could pick instead, beside ours over the same values: CRoaring's bitmaps
// beside bit vectors, StreamVByte beside unpacking, and ours of what duckdb.mjs asks DuckDB. scripts/peers.py says
// which belong together.
#include <benchmark/benchmark.h>
#include <roaring/roaring.h>
#include <streamvbyte.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kdzk.h"
#include "rates.h"
#include "working_sets.h"

namespace {

constexpr uint32_t kRows = 1 << 16;        // a container of CRoaring
constexpr uint32_t kListedRows = 1 << 22;  // too many for a processor to learn where the ones are

// One set of rows in both forms. CRoaring holds up to 4,096 rows of a container as a list.
struct Rows {
    std::vector<uint64_t> bits;
    std::shared_ptr<roaring_bitmap_t> roaring;

    Rows(uint32_t count, uint32_t one_in, uint32_t seed) : bits(random_bits(count + 64 * seed, one_in)) {
        bits.erase(bits.begin(), bits.begin() + seed);
        roaring.reset(roaring_bitmap_create(), roaring_bitmap_free);
        for (uint32_t row = 0; row < count; ++row)
            if (bits[row / 64] >> row % 64 & 1)
                roaring_bitmap_add(roaring.get(), row);
    }
};

void register_conjunctions() {
    const Rows a(kRows, 2, 0), b(kRows, 2, 1);
    measure("roaring_and_cardinality", "", {0, kRows}, [=] {
        return [=] { benchmark::DoNotOptimize(roaring_bitmap_and_cardinality(a.roaring.get(), b.roaring.get())); };
    });
    measure("roaring_and", "", {0, kRows},
            [=] { return [=] { roaring_bitmap_free(roaring_bitmap_and(a.roaring.get(), b.roaring.get())); }; });
    measure("kdzk_lbiwvand_dydi+count", "", {0, kRows}, [=] {
        return [=, result = std::vector<uint64_t>(kRows / 64)]() mutable {
            uint32_t ones;
            kdzk_lbiwvand_dydi(result.data(), &ones, a.bits.data(), b.bits.data(), kRows);
            benchmark::DoNotOptimize(ones);
            benchmark::ClobberMemory();
        };
    });
    // The rank of the last row but one makes CRoaring count: a container's whole count it keeps.
    measure("roaring_rank", "", {0, kRows},
            [=] { return [=] { benchmark::DoNotOptimize(roaring_bitmap_rank(a.roaring.get(), kRows - 2)); }; });
    measure("kdzk_lbiwvpopcnt_dydi", "", {0, kRows}, [=] {
        return [=] {
            uint32_t ones;
            kdzk_lbiwvpopcnt_dydi(&ones, a.bits.data(), kRows - 1);
            benchmark::DoNotOptimize(ones);
        };
    });
}

// Rows a second are rows delivered.
void register_lists(uint32_t one_in) {
    const Rows rows(kListedRows, one_in, 0);
    const std::string set = "/1_in_" + std::to_string(one_in);
    const Work work = {0, roaring_bitmap_get_cardinality(rows.roaring.get())};
    measure("roaring_to_uint32_array" + set, "", work, [=] {
        return [=, list = std::vector<uint32_t>(kListedRows)]() mutable {
            roaring_bitmap_to_uint32_array(rows.roaring.get(), list.data());
            benchmark::ClobberMemory();
        };
    });
    measure("kdzk_lbiwvones_dydi" + set, "", work, [=] {
        return [=, list = std::vector<uint32_t>(kListedRows)]() mutable {
            kdzk_lbiv_ictx walk;
            kdzk_lbiwv_ictx_ini2_dydi(&walk, rows.bits.data(), kListedRows, 0, 0);
            benchmark::DoNotOptimize(kdzk_lbiwvones_dydi(&walk, list.data(), kListedRows));
            benchmark::ClobberMemory();
        };
    });
}

// The same random values, codes of so many bits for us.
void register_unpacking(uint32_t width) {
    constexpr uint32_t rows = 4096;
    const std::string bits = "/" + std::to_string(width) + "bit";
    const auto payload = shared_bytes();
    const auto encoded = std::make_shared<std::vector<uint8_t>>(streamvbyte_max_compressedbytes(rows));
    std::vector<uint32_t> values(rows);
    for (uint32_t at = 0; at < rows * width / 8; ++at)
        values[at / (width / 8)] = values[at / (width / 8)] << 8 | payload[at];
    streamvbyte_encode(values.data(), rows, encoded->data());
    measure("streamvbyte_decode" + bits, "", {0, rows}, [=] {
        return [=, out = std::vector<uint32_t>(rows)]() mutable {
            streamvbyte_decode(encoded->data(), out.data(), rows);
            benchmark::ClobberMemory();
        };
    });
    const uint32_t slot = kdzk_slot(KDZK_CLASS_DICT, width, KDZK_OP_DECODE_UNPACK, KDZK_FORM_PLAIN);
    measure("kdzk_decode_unpack:wide" + bits, "", {0, rows}, [=] {
        return [=, out = std::vector<uint32_t>(rows)]() mutable {
            kdzk_enc_ctx encoding = {};
            kdzk_vec source = {}, destination = {};
            kdzk_exec_ctx context = {};
            source.data = const_cast<uint8_t *>(payload);
            source.enc_ctx = &encoding;
            source.row_count = destination.row_count = rows;
            destination.data = out.data();
            context.wide_codes = 1;
            kdzk_dispatch_table[slot].vec(&destination, &source, &context);
            benchmark::ClobberMemory();
        };
    });
}

// As many rows, of values as random, and half of them hits, as in duckdb.mjs.
void register_ranges(uint32_t width, const std::shared_ptr<const std::vector<uint64_t>> &payload) {
    const uint32_t slot = kdzk_slot(KDZK_CLASS_DICT, width, KDZK_OP_GE_LE, KDZK_FORM_PLAIN);
    const uint32_t rows = uint32_t(payload->size() * 2);
    measure("kdzk_ge_le/" + std::to_string(width) + "bit", "", {0, rows}, [=] {
        return [=, result = std::vector<uint64_t>(rows / 64 + 1)]() mutable {
            const uint32_t lowest = 1u << (width - 2), highest = 3 * lowest - 1;
            kdzk_enc_ctx encoding = {};
            kdzk_vec source = {}, destination = {};
            kdzk_pred lower = {}, upper = {};
            source.data = const_cast<uint64_t *>(payload->data());
            source.enc_ctx = &encoding;
            source.row_count = destination.row_count = rows;
            destination.res_bv = result.data();
            lower.data = const_cast<uint32_t *>(&lowest);
            upper.data = const_cast<uint32_t *>(&highest);
            kdzk_dispatch_table[slot].range(&destination, &source, &lower, &upper, nullptr);
            benchmark::DoNotOptimize(destination.hit_count);
        };
    });
}

}  // namespace

int main(int argc, char **argv) {
    constexpr size_t kMillionRows = 100;
    if (!begin_program(argc, argv))
        return 2;
    register_conjunctions();
    for (const uint32_t one_in : {100u, 10u, 2u})
        register_lists(one_in);
    for (const uint32_t width : {8u, 16u, 24u})
        register_unpacking(width);
    const auto payload = std::make_shared<std::vector<uint64_t>>(kMillionRows * 1000000 / 2);
    std::mt19937_64 random(1);
    for (uint64_t &word : *payload)
        word = random();
    for (const uint32_t width : {8u, 16u, 32u})
        register_ranges(width, payload);
    RateTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
}
