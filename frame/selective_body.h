// selective_body.h: the twin of the main body that visits only the rows that the selection names. Reached from the main
// body alone. For selected rows it reports the same bits.
#pragma once

#include "frame/encoding.h"
#include "frame/payload.h"
#include "frame/result.h"

namespace kdzk {

// The rows fetched from the selection at a time: enough for whole words of it to go together.
inline constexpr uint32_t kRowsAtATime = 256;

// Leaves the host the one trace that a selective body ran. One byte is written, as hosts may use the others.
inline void mark_ran(kdzk_exec_ctx *ctx, uint32_t flag) {
    const uint32_t byte = flag < 0x100 ? 0 : 1;
    reinterpret_cast<uint8_t *>(&ctx->flags)[byte] |= uint8_t(flag >> 8 * byte);
}

// Returns 1 on a hit. The row's bit is ORed in either way: an OR of nothing is cheaper than a mispredicted branch.
template <typename Reader, typename RowTest>
[[gnu::always_inline]] inline uint32_t test_row(Reader &rows, uint64_t *res_bv, uint32_t row, RowTest passes_row) {
    const bool hit = passes_row(rows.value_at(row));
    or_bit(res_bv, row, hit);
    return hit;
}

// Tests the selected rows and adds their bits to words that were cleared; returns the hits.
template <typename Reader, typename RowTest>
requires RowReader<Reader>
[[gnu::always_inline]] inline uint32_t test_selected(Reader rows, uint64_t *res_bv, const uint64_t *sel_bv,
                                                     uint32_t row_count, RowTest passes_row) {
    kdzk_lbiv_ictx selected;
    kdzk_lbiv_ictx_ini2_dydi(&selected, sel_bv, row_count, 0, 0);
    uint32_t batch[kRowsAtATime], count = 0;
    uint64_t fetched;
    do {
        fetched = kdzk_lbiwvones_dydi(&selected, batch, kRowsAtATime);
        for (uint64_t i = 0; i < fetched; ++i)
            count += test_row(rows, res_bv, batch[i], passes_row);
    } while (fetched == kRowsAtATime);
    return count;
}

template <typename Encoding, Operator op>
[[gnu::always_inline]] inline uint64_t selective_body(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *lower,
                                                      const kdzk_pred *upper, kdzk_exec_ctx *ctx) {
    const uint8_t *payload = payload_of<kernel_id<Encoding>(selective_name_of(op))>(src, ctx);
    mark_ran(ctx, KDZK_RAN_SELECTIVE);
    const auto keys = read_keys<Encoding, op>(lower, upper);
    const uint32_t row_count = src->row_count;
    uint64_t *res_bv = dst->res_bv;
    clear_rows_from(res_bv, 0, row_count);
    const uint32_t count = Encoding::template with_rows<Body::selective>(
        Source{payload, src, lower}, [&](auto rows) __attribute__((always_inline)) {
            return test_selected(rows, res_bv, ctx->sel_bv, row_count, row_test<op, Encoding::kForm>(keys));
        });
    return store_count(dst, keep_rows_in({src->filter_bv, nullptr}, res_bv, row_count, count));
}

}  // namespace kdzk
