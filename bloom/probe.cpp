// probe.cpp: probes a Bloom filter with a vector of hashes, one bit a row.
//
// A probe is a random read, so finding where to read is kept apart from reading: a batch of selected rows, and the
// blocks of a scan that are on their way, ask the caches for their bytes before the first of them is looked at. The
// eight cases (hash size, sense of the test, scan or selection) and the two layouts of a filter are one text: hash size
// and layout are template arguments, the sense is a value.
#include <algorithm>

#include "bitvec/bits.h"
#include "frame/element_lanes.h"
#include "frame/platform.h"
#include "frame/result.h"
#include "lanes.h"

namespace kdzk {

namespace {

constexpr uint32_t kNoRow = 0xFFFFFFFF;
constexpr uint32_t kBlockRows = 16, kGroupRows = 4;
constexpr uint32_t kBatchRows = 256;

// Blocks of a scan that have asked for their bytes and wait for them, if the filter is a large one. A smaller one is in
// the second cache, where the processor looks far enough ahead by itself and the detour costs up to a half.
constexpr uint32_t kBlocksAhead = 7;
constexpr uint32_t kLargeFilterBytes = 1 << 20;

// A number for each row of a block, four a vector.
struct BlockNumbers {
    Lanes<32> a, b, c, d;
};

template <typename Change>
[[gnu::always_inline]] inline BlockNumbers changed(const BlockNumbers &numbers, Change change) {
    return {change(numbers.a), change(numbers.b), change(numbers.c), change(numbers.d)};
}

// The same, one by one.
struct RowNumbers {
    uint32_t rows[kBlockRows];

    void take(const BlockNumbers &numbers) {
        store_lanes(rows, numbers.a);
        store_lanes(rows + kGroupRows, numbers.b);
        store_lanes(rows + 2 * kGroupRows, numbers.c);
        store_lanes(rows + 3 * kGroupRows, numbers.d);
    }
};

// Numbers of bits become numbers of bytes and, in each byte, the bit.
[[gnu::always_inline]] inline Lanes<8> split_bits(const BlockNumbers &numbers, RowNumbers &bytes) {
    bytes.take(changed(numbers, [](Lanes<32> bits) { return shifted_down<3>(bits); }));
    const auto [a, b, c, d] = changed(numbers, [](Lanes<32> bits) { return both(bits, spread(uint32_t{7})); });
    return single_bits(narrow_numbers(narrow_numbers(a, b), narrow_numbers(c, d)));
}

// One array of bytes; the masked hash is the number of a bit.
struct FlatFilter {
    const uint8_t *bytes;

    explicit FlatFilter(const kdzk_pred *filter) : bytes(reinterpret_cast<const uint8_t *>(filter->res_bv)) {}

    const uint8_t *byte_of(uint32_t masked) const { return bytes + masked / 8; }
    uint32_t bit_of(uint32_t masked) const { return masked % 8; }

    // Where a block's bits are.
    struct Places {
        RowNumbers offsets;
        Lanes<8> bits;
    };
    [[gnu::always_inline]] void find(const BlockNumbers &masked, Places &places) const {
        places.bits = split_bits(masked, places.offsets);
    }
    const uint8_t *byte_of(const Places &places, uint32_t row) const { return bytes + places.offsets.rows[row]; }
};

// An array of such arrays, by the upper bits of the masked hash. Kept on purpose, though hosts shift by less than 32:
// single rows take a shift modulo 32, blocks find partition 0 by one that is too large.
struct PartitionedFilter {
    const uint8_t *partitions;
    uint32_t shift, part_mask;

    explicit PartitionedFilter(const kdzk_pred *filter)
        : partitions(reinterpret_cast<const uint8_t *>(filter->res_bv)),
          shift(filter->enc_ctx->bloom_shift),
          part_mask(filter->enc_ctx->bloom_part_mask) {}

    const uint8_t *partition(uint32_t number) const {
        return load<const uint8_t *>(partitions + uint64_t{number} * sizeof(uint8_t *));
    }
    const uint8_t *byte_of(uint32_t masked) const { return partition(masked >> shift % 32) + (masked & part_mask) / 8; }
    uint32_t bit_of(uint32_t masked) const { return (masked & part_mask) % 8; }

    struct Places {
        RowNumbers partitions, offsets;
        Lanes<8> bits;
    };
    [[gnu::always_inline]] void find(const BlockNumbers &masked, Places &places) const {
        places.partitions.take(changed(masked, [this](Lanes<32> hash) { return shifted_down(hash, shift); }));
        places.bits = split_bits(changed(masked, [this](Lanes<32> hash) { return both(hash, spread(part_mask)); }),
                                 places.offsets);
    }
    const uint8_t *byte_of(const Places &places, uint32_t row) const {
        return partition(places.partitions.rows[row]) + places.offsets.rows[row];
    }
};

// The hash of a row is the last four bytes of its element, big-endian.
template <uint32_t kElementBytes>
struct Hashes {
    const uint8_t *elements;
    uint32_t mask;

    bool has_large_filter() const { return mask / 8 >= kLargeFilterBytes; }
    const uint8_t *element(uint32_t row) const { return elements + uint64_t{row} * kElementBytes; }
    uint32_t masked(uint32_t row) const { return load_be<uint32_t>(element(row) + kElementBytes - 4) & mask; }

    Lanes<32> masked_group(uint32_t row) const {
        Lanes<32> hashes = load_lanes<32>(element(row));
        if constexpr (kElementBytes == 8)
            hashes = odd_lanes(hashes, load_lanes<32>(element(row) + kVectorBytes));
        return both(ElementLanes<32>::in_order<true>(seen_as<8>(hashes)), spread(mask));
    }
    [[gnu::always_inline]] BlockNumbers masked_block(uint32_t row) const {
        return {masked_group(row), masked_group(row + kGroupRows), masked_group(row + 2 * kGroupRows),
                masked_group(row + 3 * kGroupRows)};
    }
    void prefetch_block(uint32_t row) const {
        for (uint32_t line = 0; line < kBlockRows * kElementBytes; line += kCacheLineBytes)
            prefetch(element(row) + kPrefetchBytes + line);
    }
};

// All ones or zero. Whether there was a hit is data, so what follows from it is chosen by masks: as a condition, the
// compilers make a branch of it.
uint64_t mask_if(bool condition) { return 0 - uint64_t{condition}; }

// What a call found. Rows come in ascending order.
struct Hits {
    uint32_t count = 0, first_row = kNoRow;
    uint64_t last = 0;  // the start of the last rows with a hit and, in the low half, their bits

    // Bits of up to sixteen rows from `start` on.
    [[gnu::always_inline]] void add(uint32_t start, uint32_t bits) {
        if (count == 0 && bits != 0) [[unlikely]]
            first_row = start + uint32_t(std::countr_zero(bits));
        const uint64_t here = uint64_t{start} << 32 | bits;
        last ^= (last ^ here) & mask_if(bits != 0);
        count += ones_in(bits);
    }
    // Rows of which all are hits.
    void add(const uint32_t *rows, uint32_t row_count) {
        if (row_count == 0)
            return;
        add(rows[0], 1);
        add(rows[row_count - 1], 1);
        count += row_count - 2;
    }
    uint32_t last_row() const { return uint32_t(last >> 32) + uint32_t(std::bit_width(uint32_t(last))) - 1; }
};

// Inlined as a whole where it is made, so that what it holds stays in registers: stores of bytes might change any of it
// in memory.
template <typename Filter, uint32_t kElementBytes>
struct Probe {
    Hashes<kElementBytes> hashes;
    Filter filter;
    bool negate;
    uint64_t *res_bv;
    Hits hits;

    bool is_hit(uint8_t byte, uint32_t bit) const { return (byte >> bit & 1) != negate; }

    [[gnu::always_inline]] void test_rows(uint32_t row, uint32_t end) {
        for (; row < end; ++row) {
            const uint32_t masked = hashes.masked(row);
            if (is_hit(*filter.byte_of(masked), filter.bit_of(masked))) {
                or_bit(res_bv, row, true);
                hits.add(row, 1);
            }
        }
    }

    // A block with a hit replaces its sixteen bits; one without leaves them as they were. It starts on a byte.
    [[gnu::always_inline]] void test_block(uint32_t row, const typename Filter::Places &places) {
        const Lanes<8> bytes = gathered_bytes([&](uint32_t i) { return *filter.byte_of(places, i); });
        const uint32_t set = top_bits(equal(both(bytes, places.bits), places.bits));
        const uint32_t bits = negate ? ~set & 0xFFFF : set;
        uint8_t nowhere[sizeof(uint16_t)];
        uint8_t *const targets[] = {nowhere, reinterpret_cast<uint8_t *>(res_bv) + row / 8};
        store(targets[bits != 0], uint16_t(bits));
        hits.add(row, bits);
    }

    // So many blocks, each tested after the next kAhead were found.
    template <uint32_t kAhead>
    [[gnu::always_inline]] void test_blocks(uint32_t first_row, uint32_t blocks) {
        typename Filter::Places waiting[kAhead + 1];
        for (uint32_t found = 0; found < blocks + kAhead; ++found) {
            if (found < blocks) {
                const uint32_t row = first_row + found * kBlockRows;
                typename Filter::Places &places = waiting[found % (kAhead + 1)];
                hashes.prefetch_block(row);
                filter.find(hashes.masked_block(row), places);
                for (uint32_t i = 0; kAhead > 0 && i < kBlockRows; ++i)
                    prefetch(filter.byte_of(places, i));
            }
            if (found >= kAhead)
                test_block(first_row + (found - kAhead) * kBlockRows, waiting[(found - kAhead) % (kAhead + 1)]);
        }
    }

    [[gnu::always_inline]] void scan(uint32_t row, uint32_t rows) {
        const uint32_t on_byte = uint32_t(std::min((uint64_t{row} + 7) / 8 * 8, uint64_t{rows}));
        test_rows(row, on_byte);
        const uint32_t blocks = (rows - on_byte) / kBlockRows;
        if (hashes.has_large_filter())
            test_blocks<kBlocksAhead>(on_byte, blocks);
        else
            test_blocks<0>(on_byte, blocks);
        test_rows(on_byte + blocks * kBlockRows, rows);
    }

    // Both leave the rows with a hit at the front of the batch, and return how many these are.
    [[gnu::always_inline]] uint32_t keep_hits(uint32_t *batch, uint64_t fetched) const {
        uint32_t kept = 0;
#pragma GCC unroll 4
        for (uint64_t i = 0; i < fetched; ++i) {
            const uint32_t row = batch[i], masked = hashes.masked(row);
            batch[kept] = row;
            kept += is_hit(*filter.byte_of(masked), filter.bit_of(masked));
        }
        return kept;
    }
    // All are found before the first is tested.
    [[gnu::always_inline]] uint32_t keep_hits_of_large_filter(uint32_t *batch, uint64_t fetched) const {
        const uint8_t *bytes[kBatchRows];
        uint32_t bits[kBatchRows], kept = 0;
        for (uint64_t i = 0; i < fetched; ++i) {
            const uint32_t masked = hashes.masked(batch[i]);
            bytes[i] = filter.byte_of(masked);
            bits[i] = filter.bit_of(masked);
            prefetch(bytes[i]);
        }
        for (uint64_t i = 0; i < fetched; ++i) {
            batch[kept] = batch[i];
            kept += is_hit(*bytes[i], bits[i]);
        }
        return kept;
    }

    [[gnu::always_inline]] void visit(const uint64_t *sel_bv, uint32_t row, uint32_t rows) {
        kdzk_lbiv_ictx selected;
        kdzk_lbiv_ictx_ini2_dydi(&selected, sel_bv, rows, 0, row);
        uint32_t batch[kBatchRows];
        uint64_t fetched;
        do {
            fetched = kdzk_lbiwvones_dydi(&selected, batch, kBatchRows);
            const uint32_t kept =
                hashes.has_large_filter() ? keep_hits_of_large_filter(batch, fetched) : keep_hits(batch, fetched);
            for (uint32_t i = 0; i < kept; ++i)
                or_bit(res_bv, batch[i], true);
            hits.add(batch, kept);
        } while (fetched == kBatchRows);
    }
};

template <typename Filter, uint32_t kElementBytes>
Hits probe(uint64_t *res_bv, const kdzk_vec *src, const kdzk_pred *filter, const kdzk_exec_ctx *ctx) {
    const Hashes<kElementBytes> hashes = {static_cast<const uint8_t *>(src->data), filter->enc_ctx->bloom_mask};
    Probe<Filter, kElementBytes> work = {hashes, Filter(filter), ctx->bloom_negate != 0, res_bv, {}};
    if (ctx->sel_bv)
        work.visit(ctx->sel_bv, ctx->start_row, src->row_count);
    else
        work.scan(ctx->start_row, src->row_count);
    return work.hits;
}

template <typename Filter>
Hits probe(uint64_t *res_bv, const kdzk_vec *src, const kdzk_pred *filter, const kdzk_exec_ctx *ctx) {
    return src->enc_ctx->width == 32 ? probe<Filter, 4>(res_bv, src, filter, ctx)
                                     : probe<Filter, 8>(res_bv, src, filter, ctx);
}

}  // namespace

}  // namespace kdzk

using namespace kdzk;

uint64_t kdzk_bloom_dydi(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *filter, kdzk_exec_ctx *ctx) {
    if ((src->enc_ctx->flags & KDZK_ENC_HASHES) == 0)
        return KDZK_STATUS_NOT_HASHES;
    const Hits hits = filter->enc_ctx->bloom_partitioned ? probe<PartitionedFilter>(dst->res_bv, src, filter, ctx)
                                                         : probe<FlatFilter>(dst->res_bv, src, filter, ctx);
    store(dst->data, kdzk_bloom_span{hits.first_row, hits.last_row()});
    return store_count(dst, hits.count);
}
