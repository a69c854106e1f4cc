// probe.cpp: probes a Bloom filter with a vector of hashes, one bit a row. The eight cases (hash size, sense of the
// test, scan or selection) are one template over the hash size; the rest are values that a call doesn't change.
#include "bitvec/bits.h"
#include "frame/platform.h"

namespace kdzk {

namespace {

constexpr uint32_t kNoRow = 0xFFFFFFFF;
constexpr uint32_t kBlockRows = 16;
constexpr uint32_t kBatchRows = 256;

// The filter with its layout. Flat: one array of bytes. Partitioned: an array of such arrays.
struct Filter {
    const void *bits;
    uint32_t mask, shift, part_mask;
    bool partitioned;
};

Filter filter_of(const kdzk_pred *pred) {
    const kdzk_enc_ctx *enc = pred->enc_ctx;
    return {pred->res_bv, enc->bloom_mask, enc->bloom_shift, enc->bloom_part_mask, enc->bloom_partitioned != 0};
}

bool is_set(const Filter &filter, uint32_t hash) {
    const uint32_t masked = hash & filter.mask;
    if (!filter.partitioned)
        return bit_at(filter.bits, masked);
    const uint8_t *partitions = static_cast<const uint8_t *>(filter.bits);
    const void *partition = load<const void *>(partitions + sizeof(void *) * (masked >> filter.shift % 32));
    return bit_at(partition, masked & filter.part_mask);
}

// The hash of a row is the last four bytes of its element, big-endian.
template <uint32_t kElementBytes>
struct Probe {
    const uint8_t *hashes;
    Filter filter;
    bool negate;

    bool hits(uint32_t row) const {
        const uint8_t *element = hashes + uint64_t{row} * kElementBytes;
        return is_set(filter, load_be<uint32_t>(element + kElementBytes - 4)) != negate;
    }
};

// What a call found. Rows come in ascending order.
struct Hits {
    uint32_t count = 0, first_row = kNoRow, last_row = kNoRow;

    // `bits` are the hits among the rows from `row` on; not zero.
    void add(uint32_t row, uint32_t bits) {
        if (first_row == kNoRow)
            first_row = row + uint32_t(std::countr_zero(bits));
        last_row = row + uint32_t(std::bit_width(bits)) - 1;
        count += ones_in(bits);
    }
};

template <uint32_t kElementBytes>
void probe_row(const Probe<kElementBytes> &probe, uint32_t row, uint64_t *res_bv, Hits &hits) {
    if (!probe.hits(row))
        return;
    or_bit(res_bv, row, true);
    hits.add(row, 1);
}

// A block with a hit replaces its sixteen bits; one without leaves them as they were. Rows start on a byte.
template <uint32_t kElementBytes>
void probe_block(const Probe<kElementBytes> &probe, uint32_t row, uint64_t *res_bv, Hits &hits) {
    uint32_t bits = 0;
    for (uint32_t i = 0; i < kBlockRows; ++i)
        bits |= uint32_t{probe.hits(row + i)} << i;
    if (bits == 0)
        return;
    store(reinterpret_cast<uint8_t *>(res_bv) + row / 8, uint16_t(bits));
    hits.add(row, bits);
}

template <uint32_t kElementBytes>
Hits probe_all(const Probe<kElementBytes> &probe, uint32_t row, uint32_t rows, uint64_t *res_bv) {
    Hits hits;
    for (; row < rows && row % 8 != 0; ++row)
        probe_row(probe, row, res_bv, hits);
    for (; rows - row >= kBlockRows; row += kBlockRows)
        probe_block(probe, row, res_bv, hits);
    for (; row < rows; ++row)
        probe_row(probe, row, res_bv, hits);
    return hits;
}

template <uint32_t kElementBytes>
Hits probe_selected(const Probe<kElementBytes> &probe, const uint64_t *sel_bv, uint32_t row, uint32_t rows,
                    uint64_t *res_bv) {
    Hits hits;
    kdzk_lbiv_ictx selected;
    kdzk_lbiv_ictx_ini2_dydi(&selected, sel_bv, rows, 0, row);
    uint32_t batch[kBatchRows];
    uint64_t fetched;
    do {
        fetched = kdzk_lbiwvones_dydi(&selected, batch, kBatchRows);
        for (uint32_t i = 0; i < fetched; ++i)
            probe_row(probe, batch[i], res_bv, hits);
    } while (fetched == kBatchRows);
    return hits;
}

template <uint32_t kElementBytes>
Hits probe_rows(uint64_t *res_bv, const kdzk_vec *src, const kdzk_pred *pred, const kdzk_exec_ctx *ctx) {
    const uint8_t *hashes = static_cast<const uint8_t *>(src->data);
    const Probe<kElementBytes> probe = {hashes, filter_of(pred), ctx->bloom_negate != 0};
    if (ctx->sel_bv)
        return probe_selected(probe, ctx->sel_bv, ctx->start_row, src->row_count, res_bv);
    return probe_all(probe, ctx->start_row, src->row_count, res_bv);
}

}  // namespace

}  // namespace kdzk

using namespace kdzk;

uint64_t kdzk_bloom_dydi(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *filter, kdzk_exec_ctx *ctx) {
    if ((src->enc_ctx->flags & KDZK_ENC_HASHES) == 0)
        return KDZK_STATUS_NOT_HASHES;
    const Hits hits = src->enc_ctx->width == 32 ? probe_rows<4>(dst->res_bv, src, filter, ctx)
                                                : probe_rows<8>(dst->res_bv, src, filter, ctx);
    dst->hit_count = hits.count;
    store(dst->data, kdzk_bloom_span{hits.first_row, hits.last_row});
    return hits.count == 0 ? KDZK_STATUS_NO_HIT : KDZK_STATUS_OK;
}
