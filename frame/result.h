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

// The masks of a main body, one bit a row. Where there is but one, it stands in both places.
struct Masks {
    const uint64_t *first = nullptr, *second = nullptr;

    Masks() = default;
    Masks(const uint64_t *filter_bv, const kdzk_exec_ctx *ctx) {
        const uint64_t *sel_bv = ctx ? ctx->sel_bv : nullptr;
        first = filter_bv ? filter_bv : sel_bv;
        second = sel_bv ? sel_bv : filter_bv;
    }
    bool are_any() const { return first != nullptr; }

    // Of bits that belong at a place of the result, those that the masks have too; asked only if there are any. A
    // mask's distance from the result doesn't change, so that a loop has one place to move on.
    template <typename Word>
    Word applied(Word bits, const void *result, const void *at) const {
        for (const uint64_t *mask : {first, second}) {
            const uintptr_t distance = reinterpret_cast<uintptr_t>(mask) - reinterpret_cast<uintptr_t>(result);
            bits &= load<Word>(reinterpret_cast<const void *>(reinterpret_cast<uintptr_t>(at) + distance));
        }
        return bits;
    }
};

// Leaves the hits that the masks have too and returns their number, which was `count`.
[[gnu::noinline]] inline uint32_t keep_rows_in(Masks masks, uint64_t *res_bv, uint32_t rows, uint32_t count) {
    if (masks.first != masks.second)
        kdzk_lbiwvand3_dydi(res_bv, &count, res_bv, masks.first, masks.second, rows);
    else if (masks.are_any())
        kdzk_lbiwvand_dydi(res_bv, &count, res_bv, masks.first, rows);
    return count;
}

// Returns the status that goes with the count.
inline uint64_t store_count(kdzk_vec *dst, uint32_t count) {
    dst->hit_count = count;
    return count == 0 ? KDZK_STATUS_NO_HIT : KDZK_STATUS_OK;
}

}  // namespace kdzk
