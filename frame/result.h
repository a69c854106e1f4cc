// result.h: how a kernel fills and closes its result bit vector. res_bv may lie at any address.
#pragma once

#include "bitvec/bits.h"
#include "frame/platform.h"

namespace kdzk {

// Zeroes the result behind the rows that whole blocks have covered; blocks are of 8 rows or more.
inline void clear_rows_from(uint64_t *res_bv, uint32_t done, uint32_t rows) {
    const uint64_t written_bytes = done / 8;
    memset(reinterpret_cast<uint8_t *>(res_bv) + written_bytes, 0, words_for(rows) * sizeof(uint64_t) - written_bytes);
}

// Leaves the hits that a mask has too; the count becomes theirs. No mask leaves all.
inline void keep_rows_in(const uint64_t *mask, uint64_t *res_bv, uint32_t *count, uint32_t rows) {
    if (mask)
        kdzk_lbiwvand_dydi(res_bv, count, res_bv, mask, rows);
}

// Returns the status that goes with the count.
inline uint64_t store_count(kdzk_vec *dst, uint32_t count) {
    dst->hit_count = count;
    return count == 0 ? KDZK_STATUS_NO_HIT : KDZK_STATUS_OK;
}

// The end of a main body: both masks, where there are any, then the count.
inline uint64_t mask_and_store_count(kdzk_vec *dst, uint32_t rows, const uint64_t *filter_bv, const kdzk_exec_ctx *ctx,
                                     uint32_t count) {
    const uint64_t *sel_bv = ctx ? ctx->sel_bv : nullptr;
    if (filter_bv && sel_bv)
        kdzk_lbiwvand3_dydi(dst->res_bv, &count, dst->res_bv, filter_bv, sel_bv, rows);
    else
        keep_rows_in(filter_bv ? filter_bv : sel_bv, dst->res_bv, &count, rows);
    return store_count(dst, count);
}

}  // namespace kdzk
