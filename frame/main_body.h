// main_body.h: what every predicate kernel does, whatever its encoding: all rows in blocks and the rest one by one,
// under the masks. It knows an encoding by the concept alone.
#pragma once

#include <algorithm>
#include <utility>

#include "frame/encoding.h"
#include "frame/payload.h"
#include "frame/result.h"
#include "lanes.h"

namespace kdzk {

inline bool asks_for_selected_rows(const kdzk_exec_ctx *ctx) { return ctx && ctx->sel_bv && ctx->selective; }

// The result of a block: one word, or as many 64-bit words as it has.
template <uint32_t kRows>
struct BlockResult {
    static constexpr uint32_t kWordRows = std::min(kRows, kWordBits);
    using Word = UnsignedOf<int(kWordRows)>;
    Word words[kRows / kWordRows];
};

// The rows whose comparison results one instruction gathers; those of a smaller block are the first ones.
inline constexpr uint32_t kRowsGathered = kVectorBytes;

// The number of a gather is a constant, so that what a vector needs by its place in the block is one.
template <uint32_t kRows, typename Block, typename Test, uint32_t... gather>
[[gnu::always_inline]] inline BlockResult<kRows> scan_gathers(const Block &block, const Test &test,
                                                              std::integer_sequence<uint32_t, gather...>) {
    using Result = BlockResult<kRows>;
    using Word = typename Result::Word;
    Result result{};
    ((result.words[gather * kRowsGathered / Result::kWordRows] |=
      Word(Word(top_bits(test.template sixteen_rows<int(gather)>(block)))
           << gather * kRowsGathered % Result::kWordRows)),
     ...);
    for (Word &word : result.words)
        word = Test::kFindsMisses ? Word(~word) : word;
    return result;
}

// A test gives the results of sixteen rows at a time, one byte lane a row, or those of a whole block.
template <uint32_t kRows, typename Block, typename Test>
[[gnu::always_inline]] inline BlockResult<kRows> scan_block(const Block &block, const Test &test) {
    if constexpr (requires { test.whole_block(block); })
        return test.whole_block(block);
    else
        return scan_gathers<kRows>(block, test,
                                   std::make_integer_sequence<uint32_t, (kRows + kRowsGathered - 1) / kRowsGathered>());
}

// The loop has no branch but its own. Its prefetches run past the payload's end, which does no harm.
template <bool masked, typename Reader, typename Test>
[[gnu::always_inline]] inline uint32_t scan_blocks(Reader &rows, uint8_t *result, uint32_t done, Masks masks,
                                                   uint32_t blocks, const Test &test) {
    uint8_t *at = result + done / 8;
    uint32_t count = 0;
    for (; blocks > 0; --blocks) {
        for (uint32_t line = 0; line < Reader::kBlockBytes; line += kCacheLineBytes)
            prefetch(rows.position() + kPrefetchBytes + line);
        const auto block = scan_block<Reader::kBlockRows>(rows.take_block(), test);
#pragma GCC unroll 2
        for (auto word : block.words) {
            if constexpr (masked)
                word = masks.applied(word, result, at);
            count += ones_in(word);
            store(at, word);
            at += sizeof word;
        }
    }
    return count;
}

// Scans whole blocks from row `done` on; returns the hits that the masks leave.
template <typename Reader, typename Test>
[[gnu::always_inline]] inline uint32_t scan_blocks(Reader &rows, uint64_t *res_bv, uint32_t done, Masks masks,
                                                   uint32_t blocks, const Test &test) {
    uint8_t *result = reinterpret_cast<uint8_t *>(res_bv);
    return masks.are_any() ? scan_blocks<true>(rows, result, done, masks, blocks, test)
                           : scan_blocks<false>(rows, result, done, masks, blocks, test);
}

// Blocks of a reader that offers pairs of them go so where one has fewer rows than are gathered at a time.
template <typename Reader>
concept GoesInPairs = (Reader::kBlockRows < kRowsGathered) && HasPairs<Reader>;

// Tests the rows from done on and adds their bits to words that were cleared; returns the hits that the masks leave.
// Bits gather in a register, so that neighbouring rows don't wait for each other's stores.
template <typename Reader, typename RowTest>
[[gnu::always_inline]] inline uint32_t scan_tail(Reader &rows, uint64_t *res_bv, Masks masks, uint32_t done,
                                                 uint32_t row_count, RowTest passes_row) {
    uint32_t count = 0;
    for (uint32_t row = done; row < row_count;) {
        const uint32_t word_index = row / kWordBits;
        uint64_t word = 0;
        do {
            word |= uint64_t{passes_row(rows.value_at(row))} << row % kWordBits;
        } while (++row < row_count && row % kWordBits != 0);
        if (masks.are_any())
            word = masks.applied(word, res_bv, res_bv + word_index);
        or_word(res_bv, word_index, word);
        count += ones_in(word);
    }
    return count;
}

template <Operator op, typename Reader>
Keys<typename Reader::Value> tail_keys(Keys<typename Reader::Value> keys) {
    if constexpr (HasTailKeys<Reader, op>)
        return {Reader::template tail_key<op>(keys.lower), Reader::template tail_key<op>(keys.upper)};
    else
        return keys;
}

// How masks come in. A pass over the result reads and writes it again: beside a scan of bytes it takes a quarter of the
// time in the first cache and a sixth out of memory. A second loop, which applies them to the bits of each block, takes
// a twelfth and a twentieth. Where a row has more than a byte, it isn't worth its code.
template <typename Reader>
inline constexpr bool kMasksBlocks = Reader::kBlockBytes <= Reader::kBlockRows;

// Tests all rows; returns the hits that the masks leave.
template <Operator op, Form form, typename Reader>
requires BlockReader<Reader>
[[gnu::always_inline]] inline uint32_t scan_rows(Reader rows, uint64_t *res_bv, Masks masks, uint32_t row_count,
                                                 Keys<typename Reader::Value> keys) {
    const typename Reader::template BlockTest<op> test(keys);
    const Masks in_blocks = kMasksBlocks<Reader> ? masks : Masks();
    uint32_t blocks = row_count / Reader::kBlockRows;
    const uint32_t done = blocks * Reader::kBlockRows;
    uint32_t count = 0;
    if (test.passes_none()) {
        clear_rows_from(res_bv, 0, row_count);
        if constexpr (!HasTailKeys<Reader, op>)
            return 0;
    } else {
        uint32_t done_in_pairs = 0;
        if constexpr (GoesInPairs<Reader>) {
            auto pairs = rows.in_pairs();
            using Pairs = decltype(pairs);
            static_assert(Pairs::kBlockRows == 2 * Reader::kBlockRows);
            const typename Pairs::template BlockTest<op> pair_test(keys);
            count = scan_blocks(pairs, res_bv, 0, in_blocks, blocks / 2, pair_test);
            rows.go_on_behind(pairs);
            done_in_pairs = blocks / 2 * Pairs::kBlockRows;
            blocks %= 2;
        }
        count += scan_blocks(rows, res_bv, done_in_pairs, in_blocks, blocks, test);
        clear_rows_from(res_bv, done, row_count);
    }
    count += scan_tail(rows, res_bv, in_blocks, done, row_count, row_test<op, form>(tail_keys<op, Reader>(keys)));
    return kMasksBlocks<Reader> || count == 0 ? count : keep_rows_in(masks, res_bv, row_count, count);
}

// The whole of a kernel but for its name: `selective` is its named selective body. Inlined into the function that
// carries the name, so that the loops show under it in a profile.
template <typename Encoding, Operator op, auto selective>
[[gnu::always_inline]] inline uint64_t main_body(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *lower,
                                                 const kdzk_pred *upper, kdzk_exec_ctx *ctx) {
    if (asks_for_selected_rows(ctx))
        return selective(dst, src, lower, upper, ctx);

    const uint8_t *payload = payload_of<kernel_id<Encoding>(op)>(src, ctx);
    const auto keys = read_keys<Encoding, op>(lower, upper);
    const Masks masks(src->filter_bv, ctx);
    return store_count(dst, Encoding::template with_rows<Body::main>(
                                Source{payload, src, lower}, [&](auto rows) __attribute__((always_inline)) {
                                    return scan_rows<op, Encoding::kForm>(rows, dst->res_bv, masks, dst->row_count,
                                                                          keys);
                                }));
}

}  // namespace kdzk
