// unpack.h: packed codes to arrays of plain integers, of all rows, of those in a list, or of those in a selection. A
// selection fills the output up to its capacity and tells where it stopped, so that hosts take it in slices.
//
// All rows go in blocks of vectors. A selection goes by its bits: eight rows, or four where elements have 32 bits, are
// brought into lanes whether they are wanted or not, those that are wanted move to the front by a shuffle from a table,
// and all of them are stored; the output moves on by those that count. A block is begun only if the output has room for
// more than all its rows, and behind the blocks a word of the selection only with room for all of its own, so that
// nothing is stored behind the end.
#pragma once

#include <numeric>

#include "decode/codes.h"
#include "frame/lane_compress.h"
#include "frame/payload.h"
#include "frame/result.h"

namespace kdzk {

// A block has the rows that eight vectors of the plan's lanes hold, in whichever lanes the codes are brought down.
template <int kWidth>
inline constexpr uint32_t kUnpackBlockRows = Plan<kWidth>::kBlockRows;
static_assert(kUnpackBlockRows<1> == 128 && kUnpackBlockRows<7> == 64 && kUnpackBlockRows<8> == 128);
static_assert(kUnpackBlockRows<11> == 32 && kUnpackBlockRows<16> == 64 && kUnpackBlockRows<32> == 32);

// Blocks begin at a multiple of so many rows, which fill whole bytes of the payload and of a selection.
template <int kWidth>
inline constexpr uint32_t kUnpackAlignment = std::lcm(uint32_t{kWidth}, 8u);

// Stores all lanes as elements; returns where the next one belongs.
template <typename Element, int kBits>
uint8_t *store_elements(uint8_t *out, Lanes<kBits> codes) {
    if constexpr (kBits == 8 * sizeof(Element)) {
        store_lanes(out, codes);
        return out + kVectorBytes;
    } else {
        out = store_elements<Element>(out, widen_low(codes));
        return store_elements<Element>(out, widen_high(codes));
    }
}

// Stores the wanted ones of four rows' elements at the front, and something behind them.
inline uint8_t *store_wanted_of_four(uint8_t *out, Lanes<32> codes, uint32_t wanted) {
    const auto control = load_lanes<8>(kdzk_lane_compress[wanted].data());
    store_lanes(out, pick_bytes<32>(seen_as<8>(codes), control));
    return out + sizeof(uint32_t) * ones_in(wanted);
}

// The same of eight rows, in lanes of 8 or 16 bits, the low half if that is all they take.
template <typename Element, int kBits>
uint8_t *store_wanted_of_eight(uint8_t *out, Lanes<kBits> codes, uint32_t wanted) {
    if constexpr (sizeof(Element) == 4) {
        if constexpr (kBits == 8) {
            return store_wanted_of_eight<Element>(out, widen_low(codes), wanted);
        } else {
            out = store_wanted_of_four(out, widen_low(codes), wanted & 15);
            return store_wanted_of_four(out, widen_high(codes), wanted >> 4);
        }
    } else {
        const auto &control = kEightLaneCompress<kBits / 8, sizeof(Element)>[wanted];
        if constexpr (sizeof(Element) == 1)
            store_low_half(out, pick_bytes<8>(seen_as<8>(codes), load_low_half<8>(control.data())));
        else
            store_lanes(out, pick_bytes<16>(seen_as<8>(codes), load_lanes<8>(control.data())));
        return out + sizeof(Element) * ones_in(wanted);
    }
}

template <int kWidth, typename Element>
struct Unpack {
    // Whole words store vectors of elements; of a selection eight rows move at a time, for which lanes of 16 bits do.
    using SelectedCodes = CodesOf<kWidth>;
    using Codes = std::conditional_t<sizeof(Element) == 1, SmallestCodesOf<kWidth>, SelectedCodes>;
    static constexpr uint32_t kBlockRows = kUnpackBlockRows<kWidth>, kBlockBytes = kBlockRows * kWidth / 8;
    static constexpr int kSelectionRows = 32, kWords = int(kBlockRows) / kSelectionRows;
    static constexpr int kVectorsOfWord = kSelectionRows / Codes::kRows;
    static constexpr uint32_t kBatchRows = 256, kRowsAhead = 10;
    static constexpr uint32_t kWordBytes = kSelectionRows * kWidth / 8;
    static_assert(kSelectionRows % Codes::kRows == 0, "each word of a block is cut as its first is");

    const uint8_t *payload;
    const uint64_t *sel_bv;
    uint8_t *out, *end;  // end isn't looked at where there is no selection
    uint32_t row, rows;  // the next one to look at, and how many there are

    static uint8_t *write_row(const uint8_t *payload, uint8_t *to, uint32_t wanted) {
        store(to, Element(fetch_code<kWidth>(payload, wanted)));
        return to + sizeof(Element);
    }

    uint32_t blocks_left() const { return row < rows ? (rows - row) / kBlockRows : 0; }
    const uint8_t *block() const { return payload + uint64_t{row} * kWidth / 8; }
    uint32_t next_aligned() const {
        constexpr uint32_t alignment = kUnpackAlignment<kWidth>;
        const uint64_t aligned = (uint64_t{row} + alignment - 1) / alignment * alignment;
        return aligned < rows ? uint32_t(aligned) : rows;
    }

    // Codes stand as elements do, but for the order of bytes.
    static constexpr bool kCopies = kWidth == 8 * sizeof(Element);

    // Asks for the payload of a block to come, and for where its elements will go. A copy leaves that to the processor,
    // which is faster by a seventh, in the first cache and out of memory.
    [[gnu::always_inline]] static void prefetch_block(const uint8_t *block, const uint8_t *to) {
        if constexpr (!kCopies) {
            for (uint32_t line = 0; line < kBlockBytes; line += kCacheLineBytes)
                prefetch(block + kPrefetchBytes + line);
            for (uint32_t line = 0; line < kBlockRows * sizeof(Element); line += kCacheLineBytes)
                prefetch(to + kPrefetchBytes + line);
        }
    }

    void write_rows_to(uint32_t last) {
        const uint8_t *from = payload;
        uint8_t *to = out;
        uint32_t next = row;
        while (next < last)
            to = write_row(from, to, next++);
        out = to;
        row = next;
    }

    // Blocks take where they write to and give back where they ended: stores of bytes might change any member, so what
    // is counted on in a loop has to be a variable.
    template <int first, int... vector>
    [[gnu::always_inline]] static uint8_t *write_vectors(const uint8_t *at, uint8_t *to,
                                                         std::integer_sequence<int, vector...>) {
        ((to = store_elements<Element>(to, Codes::template codes<first + vector>(at))), ...);
        return to;
    }

    void write_all() {
        write_rows_to(next_aligned());
        const uint8_t *at = block();
        uint8_t *to = out;
        const uint32_t blocks = blocks_left();
        for (uint32_t left = blocks; left > 0; --left) {
            prefetch_block(at, to);
            to = write_vectors<0>(at, to, std::make_integer_sequence<int, kVectorsOfWord * kWords>());
            at += kBlockBytes;
        }
        row += blocks * kBlockRows;
        for (; row < rows && rows - row >= kSelectionRows; row += kSelectionRows) {
            to = write_vectors<0>(at, to, std::make_integer_sequence<int, kVectorsOfWord>());
            at += kWordBytes;
        }
        out = to;
        write_rows_to(rows);
    }

    void write_list(const uint32_t *list, uint32_t length) {
        uint8_t *to = out;
        for (uint32_t i = 0; i < length; ++i)
            to = write_row(payload, to, list[i]);
        out = to;
    }

    void write_selected_rows_to(uint32_t last) {
        uint8_t *to = out;
        uint32_t next = row;
        for (; next < last && to != end; ++next)
            if (bit_at(sel_bv, next))
                to = write_row(payload, to, next);
        out = to;
        row = next;
    }

    template <int eight>
    [[gnu::always_inline]] static uint8_t *write_wanted_of_eight(const uint8_t *at, uint8_t *to, uint32_t wanted) {
        if constexpr (SelectedCodes::kBits == 32) {
            to = store_wanted_of_four(to, SelectedCodes::template codes<2 * eight>(at), wanted & 15);
            return store_wanted_of_four(to, SelectedCodes::template codes<2 * eight + 1>(at), wanted >> 4);
        } else if constexpr (SelectedCodes::kBits == 16) {
            return store_wanted_of_eight<Element>(to, SelectedCodes::template codes<eight>(at), wanted);
        } else {
            return store_wanted_of_eight<Element>(to, load_low_half<8>(at + 8 * eight), wanted);
        }
    }
    // Selections are often all ones, nearly all zeros or clustered: a word of either kind is dealt with as a whole.
    template <int word>
    [[gnu::always_inline]] static uint8_t *write_selected_word(const uint8_t *at, uint8_t *to, uint32_t wanted) {
        if (wanted == 0)
            return to;
        if (wanted == ~uint32_t{0})
            return write_vectors<word * kVectorsOfWord>(at, to, std::make_integer_sequence<int, kVectorsOfWord>());
        if (std::has_single_bit(wanted))
            return write_row(at, to, uint32_t(kSelectionRows * word + std::countr_zero(wanted)));
        to = write_wanted_of_eight<4 * word>(at, to, wanted & 0xFF);
        to = write_wanted_of_eight<4 * word + 1>(at, to, wanted >> 8 & 0xFF);
        to = write_wanted_of_eight<4 * word + 2>(at, to, wanted >> 16 & 0xFF);
        return write_wanted_of_eight<4 * word + 3>(at, to, wanted >> 24);
    }
    // All rows of a block are copied sooner than its words are looked at.
    [[gnu::always_inline]] static bool all_wanted(const uint8_t *selection) {
        using Word = UnsignedOf<int(std::min(kBlockRows, kWordBits))>;
        Word wanted = Word(~Word{0});
        for (uint32_t at = 0; at < kBlockRows / 8; at += sizeof wanted)
            wanted &= load<Word>(selection + at);
        return wanted == Word(~Word{0});
    }
    template <int... word>
    [[gnu::always_inline]] static uint8_t *write_selected_block(const uint8_t *at, uint8_t *to,
                                                                const uint8_t *selection,
                                                                std::integer_sequence<int, word...>) {
        prefetch_block(at, to);
        if constexpr (kCopies)
            if (all_wanted(selection)) [[unlikely]]
                return write_vectors<0>(at, to, std::make_integer_sequence<int, kVectorsOfWord * kWords>());
        ((to = write_selected_word<word>(at, to, load<uint32_t>(selection + word * 4))), ...);
        return to;
    }

    // Stops where the output is full. No word stores behind the room that all its rows would take, so behind the blocks
    // words go on as long as there is that much.
    void write_selected_by_words() {
        write_selected_rows_to(next_aligned());
        const uint8_t *at = block(), *selection = reinterpret_cast<const uint8_t *>(sel_bv) + row / 8;
        uint8_t *to = out;
        const uint32_t blocks = blocks_left();
        uint32_t left = blocks;
        for (; left > 0 && end - to > ptrdiff_t(kBlockRows * sizeof(Element)); --left) {
            to = write_selected_block(at, to, selection, std::make_integer_sequence<int, kWords>());
            at += kBlockBytes;
            selection += kBlockRows / 8;
        }
        row += (blocks - left) * kBlockRows;
        constexpr ptrdiff_t word_room = kSelectionRows * sizeof(Element);
        for (; row < rows && rows - row >= kSelectionRows && end - to >= word_room; row += kSelectionRows) {
            to = write_selected_word<0>(at, to, load<uint32_t>(selection));
            at += kWordBytes;
            selection += kSelectionRows / 8;
        }
        out = to;
        write_selected_rows_to(rows);
    }

    // Leaves row behind the last one that was dealt with.
    void write_selected_by_iterator() {
        if (row >= rows) {  // the walk would read a word of the selection all the same
            row = out != end ? rows : row;
            return;
        }
        kdzk_lbiv_ictx walk;
        kdzk_lbiv_ictx_ini2_dydi(&walk, sel_bv, rows, 0, row);
        uint32_t batch[kBatchRows + kRowsAhead];
        while (out != end) {
            const uint64_t found = kdzk_lbiwvones_dydi(&walk, batch, kBatchRows);
            const uint64_t room = uint64_t(end - out) / sizeof(Element), taken = found < room ? found : room;
            for (uint64_t i = 0; i < kRowsAhead; ++i)
                batch[found + i] = 0;
            uint8_t *to = out;
            for (uint64_t i = 0; i < taken; ++i) {
                prefetch(payload + uint64_t{batch[i + kRowsAhead]} * kWidth / 8);
                to = write_row(payload, to, batch[i]);
            }
            out = to;
            row = taken > 0 ? batch[taken - 1] + 1 : row;
            if (found == kBatchRows)
                continue;
            row = out != end ? rows : row;
            return;
        }
    }
};

// Tells hosts how many elements there are, and the last row that was dealt with.
inline uint64_t store_unpacked(kdzk_vec *dst, kdzk_exec_ctx *ctx, uint32_t count, uint32_t last_row) {
    ctx->row_pos = last_row;
    return store_count(dst, count);
}

template <int kWidth, typename Element>
uint64_t unpack(kdzk_vec *dst, const kdzk_vec *src, kdzk_exec_ctx *ctx, const uint8_t *payload) {
    uint8_t *const out = static_cast<uint8_t *>(dst->data);
    const uint32_t start = ctx->row_pos;
    Unpack<kWidth, Element> work{payload, ctx->sel_bv, out, out, start, src->row_count};
    if (!ctx->sel_bv && !ctx->row_list) {
        work.write_all();
        // From a position behind the last row, the count is what the subtraction leaves: hosts don't start there.
        store_unpacked(dst, ctx, src->row_count - start, src->row_count - 1);
        return start < src->row_count ? KDZK_STATUS_OK : KDZK_STATUS_NO_HIT;
    }
    if (!ctx->sel_bv) {
        const uint32_t length = ctx->row_list_len;
        work.write_list(ctx->row_list, length);
        return store_unpacked(dst, ctx, length, length == 0 ? start : ctx->row_list[length - 1]);
    }
    work.end = out + uint64_t{dst->row_count} * sizeof(Element);
    if (ctx->selective)
        work.write_selected_by_iterator();
    else
        work.write_selected_by_words();
    // Kept on purpose: without any room, the walk by words leaves the position alone, the other one takes it down.
    const bool stays = dst->row_count == 0 && !ctx->selective;
    return store_unpacked(dst, ctx, uint32_t(uint64_t(work.out - out) / sizeof(Element)), stays ? start : work.row - 1);
}

template <int kWidth>
uint64_t decode_unpack(kdzk_vec *dst, const kdzk_vec *src, kdzk_exec_ctx *ctx) {
    constexpr KernelId id = {KernelClass::dict, kWidth, Operation::decode_unpack, Form::plain};
    const uint8_t *payload = payload_of<id>(src, ctx);
    if constexpr (kWidth <= 16)
        if (ctx->wide_codes == 0)
            return unpack<kWidth, UnsignedOf<(kWidth <= 8 ? 8 : 16)>>(dst, src, ctx, payload);
    return unpack<kWidth, uint32_t>(dst, src, ctx, payload);
}

}  // namespace kdzk
