// bloom.cpp: rates of Bloom probes, by the filter's size and by how many of its bits are set, against plain loops. Rows
// a second are rows probed.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "families.h"
#include "kdzk.h"
#include "rates.h"

namespace {

constexpr uint32_t kPartitionBits = 1 << 20;

// Filters up to this size stay in the first cache.
constexpr uint64_t kSmallFilter = 1 << 14;

constexpr uint32_t rows_for(uint64_t filter_bytes) { return filter_bytes <= kSmallFilter ? 4096 : 1 << 16; }

// A share of one in 2^n bits set.
std::vector<uint64_t> random_filter(uint64_t bytes, uint32_t halvings) {
    std::vector<uint64_t> words(bytes / 8);
    for (size_t at = 0; at < words.size(); ++at) {
        words[at] = shared_words()[at];
        for (uint32_t i = 1; i < halvings; ++i)
            words[at] &= shared_words()[(at + i * 1001) % words.size()];
    }
    return words;
}

// Hashes are some of the shared random bytes, others in every call: branches mustn't know the answers by heart, nor may
// the caches have from the call before what is to come from memory.
struct Call {
    uint32_t rows, bits, element_bytes;
    std::vector<uint64_t> filter, selection, result;
    std::vector<const uint8_t *> partitions;
    std::vector<uint32_t> batch = std::vector<uint32_t>(256);
    size_t hashes_at = 0;
    kdzk_enc_ctx encoding = {}, filter_encoding = {};
    kdzk_vec source = {}, destination = {};
    kdzk_pred operand = {};
    kdzk_exec_ctx context = {};
    kdzk_bloom_span span = {};

    Call(uint64_t filter_bytes, uint32_t halvings, bool partitioned, uint32_t bytes_a_hash)
        : rows(rows_for(filter_bytes)),
          bits(uint32_t(filter_bytes * 8 - 1)),
          element_bytes(bytes_a_hash),
          filter(random_filter(filter_bytes, halvings)),
          result(rows / 64) {
        encoding.flags = KDZK_ENC_HASHES;
        encoding.width = uint8_t(8 * element_bytes);
        filter_encoding.bloom_mask = bits;
        filter_encoding.bloom_partitioned = partitioned;
        filter_encoding.bloom_shift = 20;
        filter_encoding.bloom_part_mask = kPartitionBits - 1;
        const auto *const bytes = reinterpret_cast<const uint8_t *>(filter.data());
        for (uint64_t at = 0; at < filter_bytes; at += kPartitionBits / 8)
            partitions.push_back(bytes + at);
        operand.res_bv = partitioned ? reinterpret_cast<uint64_t *>(partitions.data()) : filter.data();
        operand.enc_ctx = &filter_encoding;
        source.enc_ctx = &encoding;
        source.row_count = rows;
        destination.res_bv = result.data();
        destination.data = &span;
    }
    Call(const Call &) = delete;

    void select(uint32_t one_in) {
        selection = random_bits(rows, one_in);
        context.sel_bv = selection.data();
    }

    const uint8_t *next_hashes() {
        const size_t all_hashes = filter.size() * 8 > kSmallFilter ? 1 << 24 : 1 << 20;
        hashes_at = (hashes_at + size_t{rows} * element_bytes) % all_hashes;
        return shared_bytes() + hashes_at;
    }

    void operator()() {
        source.data = const_cast<uint8_t *>(next_hashes());
        kdzk_bloom_dydi(&destination, &source, &operand, &context);
        benchmark::ClobberMemory();
    }

    void probe_by(const PlainLoops &loops) {
        benchmark::DoNotOptimize(loops.probe_filter(next_hashes(), operand.res_bv, bits, rows, result.data()));
        benchmark::ClobberMemory();
    }

    void probe_partitions_by(const PlainLoops &loops) {
        const PlainPartitions parts = {partitions.data(), bits, filter_encoding.bloom_shift, kPartitionBits - 1};
        benchmark::DoNotOptimize(loops.probe_partitions(next_hashes(), parts, rows, result.data()));
        benchmark::ClobberMemory();
    }

    // The walk is the library's; what is compared is the way of probing.
    void visit_by(const PlainLoops &loops) {
        const uint8_t *const hashes = next_hashes();
        kdzk_lbiv_ictx walk;
        kdzk_lbiv_ictx_ini2_dydi(&walk, context.sel_bv, rows, 0, 0);
        uint64_t fetched;
        do {
            fetched = kdzk_lbiwvones_dydi(&walk, batch.data(), batch.size());
            benchmark::DoNotOptimize(
                loops.probe_filter_rows(hashes, operand.res_bv, bits, batch.data(), fetched, result.data()));
        } while (fetched == batch.size());
        benchmark::ClobberMemory();
    }
};

std::string size_name(uint64_t bytes) {
    return bytes < 1 << 20 ? std::to_string(bytes >> 10) + "KiB" : std::to_string(bytes >> 20) + "MiB";
}

void register_filter(uint64_t bytes, uint32_t halvings) {
    const std::string set = "/" + size_name(bytes) + "/hits_1_in_" + std::to_string(1 << halvings);
    const auto prepare = [=](bool partitioned, uint32_t element_bytes, uint32_t selected_one_in) {
        const auto call = std::make_shared<Call>(bytes, halvings, partitioned, element_bytes);
        if (selected_one_in > 1)
            call->select(selected_one_in);
        return call;
    };
    const auto work = [=](uint32_t selected_one_in) { return Work{0, rows_for(bytes) / selected_one_in}; };
    measure_plain("plain_bloom" + set, "", work(1), [=](const PlainLoops &loops) {
        return [&loops, call = prepare(false, 4, 1)] { call->probe_by(loops); };
    });
    measure_plain("plain_bloom_partitions" + set, "", work(1), [=](const PlainLoops &loops) {
        return [&loops, call = prepare(true, 4, 1)] { call->probe_partitions_by(loops); };
    });
    measure_plain("plain_bloom_rows" + set, "", work(4), [=](const PlainLoops &loops) {
        return [&loops, call = prepare(false, 4, 4)] { call->visit_by(loops); };
    });
    const auto add = [&](const std::string &variant, bool partitioned, uint32_t element_bytes,
                         uint32_t selected_one_in) {
        measure(
            "kdzk_bloom_dydi" + variant + set, "", work(selected_one_in),
            [=] { return [call = prepare(partitioned, element_bytes, selected_one_in)] { (*call)(); }; },
            (selected_one_in > 1 ? "plain_bloom_rows"
             : partitioned       ? "plain_bloom_partitions"
                                 : "plain_bloom")
                + set);
    };
    add("", false, 4, 1);
    add(":partitioned", true, 4, 1);
    add(":hashes_of_64_bits", false, 8, 1);
    add(":1_in_4_selected", false, 4, 4);
}

}  // namespace

void register_bloom(uint64_t filter_bytes) {
    for (const uint32_t halvings : {1u, 6u})
        register_filter(filter_bytes, halvings);
}
