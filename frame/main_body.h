// main_body.h: what every predicate kernel does, whatever its encoding: all rows in blocks, the rest one by one, then
// the masks. It knows an encoding by the concept alone.
#pragma once

#include "frame/encoding.h"
#include "frame/payload.h"
#include "frame/result.h"
#include "lanes.h"

namespace kdzk {

inline bool asks_for_selected_rows(const kdzk_exec_ctx *ctx) { return ctx && ctx->sel_bv && ctx->selective; }

// Scans whole blocks from the start of payload and result; returns the hits. The loop has no branch but its own. Its
// prefetches run past the payload's end, which does no harm.
template <typename Encoding, typename Test>
[[gnu::always_inline]] inline uint32_t scan_blocks(const uint8_t *payload, uint64_t *res_bv, uint32_t blocks,
                                                   const Test &test) {
    uint8_t *result = reinterpret_cast<uint8_t *>(res_bv);
    uint32_t count = 0;
    for (; blocks > 0; --blocks) {
        for (uint32_t line = 0; line < Encoding::kBlockBytes; line += kCacheLineBytes)
            prefetch(payload + kPrefetchBytes + line);
        const auto block = Encoding::scan_block(payload, test);
        for (const auto word : block.words)
            count += ones_in(word);
        store(result, block);
        payload += Encoding::kBlockBytes;
        result += sizeof block;
    }
    return count;
}

// Tests the rows from done on and adds their bits to words that were cleared; returns the hits. Bits gather in a
// register, so that neighbouring rows don't wait for each other's stores.
template <typename Encoding, Operator op>
[[gnu::always_inline]] inline uint32_t scan_tail(const uint8_t *payload, uint64_t *res_bv, uint32_t done, uint32_t rows,
                                                 Keys<typename Encoding::Key> keys) {
    uint32_t count = 0;
    for (uint32_t row = done; row < rows;) {
        const uint32_t word_index = row / kWordBits;
        uint64_t word = 0;
        do {
            word |= uint64_t{passes<op, Encoding::kForm>(Encoding::value_at(payload, row), keys)} << row % kWordBits;
        } while (++row < rows && row % kWordBits != 0);
        or_word(res_bv, word_index, word);
        count += ones_in(word);
    }
    return count;
}

// The whole of a kernel but for its name: `selective` is its named selective body. Inlined into the function that
// carries the name, so that the loops show under it in a profile.
template <typename Encoding, Operator op, auto selective>
requires BlockEncoding<Encoding>
[[gnu::always_inline]] inline uint64_t main_body(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *lower,
                                                 const kdzk_pred *upper, kdzk_exec_ctx *ctx) {
    if (asks_for_selected_rows(ctx))
        return selective(dst, src, lower, upper, ctx);

    const uint8_t *payload = payload_of<kernel_id<Encoding>(op)>(src, ctx);
    const auto keys = read_keys<Encoding, op>(lower, upper);
    const uint32_t rows = dst->row_count;
    uint64_t *res_bv = dst->res_bv;

    const typename Encoding::template BlockTest<op> test(keys);
    if (test.passes_none()) {
        clear_rows_from(res_bv, 0, rows);
        return store_count(dst, 0);
    }

    const uint32_t blocks = rows / Encoding::kBlockRows, done = blocks * Encoding::kBlockRows;
    uint32_t count = scan_blocks<Encoding>(payload, res_bv, blocks, test);
    clear_rows_from(res_bv, done, rows);
    count += scan_tail<Encoding, op>(payload, res_bv, done, rows, keys);
    return mask_and_store_count(dst, src->filter_bv, ctx, count);
}

}  // namespace kdzk
