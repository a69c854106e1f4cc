// set.h: whether each row's code is in a set, a bit vector over codes. Of the set, the words up to that of the highest
// code that occurs are read, and none behind: hosts may end it there.
//
// Sets over codes of up to eight bits become tables in registers: a byte shuffle finds the result of a code, or the
// eight results that its upper bits name, of which another one picks the bit that its lower three name. For wider codes
// each row loads its byte of the set.
#pragma once

#include "decode/codes.h"
#include "frame/main_body.h"
#include "frame/selective_body.h"

namespace kdzk {

inline bool is_in_set(const uint64_t *set, uint64_t code) {
    const uint8_t *at = reinterpret_cast<const uint8_t *>(set);
    return load<uint64_t>(at + code / kWordBits * sizeof(uint64_t)) >> code % kWordBits & 1;
}

// The first words of a set of up to 256 codes, the others empty.
struct SetTables {
    Lanes<8> lower, upper;
};

[[gnu::noinline]] inline SetTables load_tables(const uint64_t *set, uint32_t words) {
    uint8_t bytes[2 * kVectorBytes] = {};
    memcpy(bytes, set, words * sizeof(uint64_t));
    return {load_lanes<8>(bytes), load_lanes<8>(bytes + kVectorBytes)};
}

// Sets of up to four words.
template <int kWidth>
struct SmallSetTest {
    using Codes = SmallestCodesOf<kWidth>;
    static constexpr bool kFindsMisses = false;
    static constexpr uint32_t kWords = kWidth <= 6 ? 1 : 1 << (kWidth - 6);
    // Up to 32 codes have a result each in the tables, as a byte lane has it; of more codes there are eight in a byte.
    static constexpr bool kHasResults = kWidth <= 5;
    static constexpr int kEntries = 1 << (kHasResults ? kWidth : kWidth - 3);
    const uint64_t *set;
    // Where there are several words, they are loaded as codes come that need them.
    mutable SetTables tables;
    mutable uint32_t words;

    explicit SmallSetTest(const uint64_t *small_set)
        : set(small_set), tables(load_tables(set, kWords == 1)), words(kWords == 1) {
        if constexpr (kHasResults)
            tables = {results_of(numbers_from(0)), results_of(numbers_from(kVectorBytes))};
    }

    // As many words as these codes reach into.
    static uint32_t words_of(Lanes<8> codes) {
        const uint32_t bit_6 = top_bits(seen_as<8>(shifted_up<1>(seen_as<16>(codes)))), bit_7 = top_bits(codes);
        return 1 + (bit_7 == 0 ? bit_6 != 0 : 2 + ((bit_6 & bit_7) != 0));
    }

    template <int gather>
    [[gnu::always_inline]] Lanes<8> sixteen_rows(const uint8_t *block) const {
        const Lanes<8> codes = Codes::template codes<gather>(block);
        if (words < kWords) {
            if (const uint32_t needed = words_of(codes); needed > words) [[unlikely]] {
                tables = load_tables(set, needed);
                words = needed;
            }
        }
        return kHasResults ? find(codes) : results_of(codes);
    }

    // Out of tables with eight in a byte.
    [[gnu::always_inline]] Lanes<8> results_of(Lanes<8> codes) const {
        const Lanes<8> eighths = shifted_down<3>(codes);
        const Lanes<8> bit = single_bits(kWidth < 8 ? codes : both(codes, spread(uint8_t{0x07})));
        return equal(both(find(eighths), bit), bit);
    }

    [[gnu::always_inline]] Lanes<8> find(Lanes<8> entries) const {
        if constexpr (kEntries <= kVectorBytes) {
            return pick_bytes<8>(tables.lower, entries);
        } else {
            // What lies outside a table gets the top bit, which makes a shuffle give zero.
            return either(pick_bytes<8>(tables.lower, minus(entries, spread(uint8_t{0x90}))),
                          pick_bytes<8>(tables.upper, minus(entries, spread(uint8_t{0x10}))));
        }
    }
};

// Larger sets: vectors cut the codes and find each one's byte of the set and its bit there, so that each row has
// but to load its byte.
template <int kWidth>
struct LargeSetTest {
    using Codes = CodesOf<kWidth>;
    static constexpr int kBits = Codes::kBits, kVectorsOfGather = kRowsGathered / Codes::kRows;
    static constexpr bool kFindsMisses = false;
    const uint8_t *set;

    explicit LargeSetTest(const uint64_t *large_set) : set(reinterpret_cast<const uint8_t *>(large_set)) {}

    static Lanes<8> to_bytes(Lanes<16> a, Lanes<16> b) { return narrow_numbers(a, b); }
    static Lanes<8> to_bytes(Lanes<32> a, Lanes<32> b, Lanes<32> c, Lanes<32> d) {
        return narrow_numbers(narrow_numbers(a, b), narrow_numbers(c, d));
    }
    template <int first, int... vector>
    [[gnu::always_inline]] Lanes<8> test(const uint8_t *block, std::integer_sequence<int, vector...>) const {
        const Lanes<kBits> codes[] = {Codes::template codes<first + vector>(block)...};
        UnsignedOf<kBits> offsets[kRowsGathered];
        (store_for_scalars(offsets + vector * Codes::kRows, shifted_down<3>(codes[vector])), ...);
        const Lanes<8> bits = single_bits(to_bytes(both(codes[vector], spread(UnsignedOf<kBits>{7}))...));
        const Lanes<8> bytes = gathered_bytes([&](uint32_t row) { return set[offsets[row]]; });
        return equal(both(bytes, bits), bits);
    }
    template <int gather>
    [[gnu::always_inline]] Lanes<8> sixteen_rows(const uint8_t *block) const {
        return test<gather * kVectorsOfGather>(block, std::make_integer_sequence<int, kVectorsOfGather>());
    }
};

template <int kWidth>
inline constexpr bool kIsSmallSet = kWidth <= 8;
template <int kWidth>
inline constexpr uint32_t kSetBlockRows = kIsSmallSet<kWidth>            ? 64
                                          : CodesOf<kWidth>::kBits <= 16 ? 32
                                                                         : 16;

template <int kWidth>
struct SetRows : EvenBlocks<kSetBlockRows<kWidth> * kWidth / 8> {
    using EvenBlocks<kSetBlockRows<kWidth> * kWidth / 8>::EvenBlocks;
    using Value = DictCode<kWidth>;
    static constexpr bool kIsSmall = kIsSmallSet<kWidth>;
    static constexpr uint32_t kBlockRows = kSetBlockRows<kWidth>;
    using Test = std::conditional_t<kIsSmall, SmallSetTest<kWidth>, LargeSetTest<kWidth>>;

    Value value_at(uint32_t row) const { return fetch_code<kWidth>(this->payload, row); }
};

template <int kWidth>
inline constexpr KernelId kSetId = {KernelClass::dict, kWidth, Operation::set, Form::plain};

// Kept on purpose: the rows are the source's in both bodies, and its filter isn't looked at in either.
template <int kWidth, auto selective>
[[gnu::always_inline]] inline uint64_t set_main_body(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *operand,
                                                     kdzk_exec_ctx *ctx) {
    using Rows = SetRows<kWidth>;
    if (asks_for_selected_rows(ctx))
        return selective(dst, src, operand, ctx);
    Rows rows(payload_of<kSetId<kWidth>>(src, ctx));
    const uint64_t *set = operand->res_bv;
    const uint32_t row_count = src->row_count, blocks = row_count / Rows::kBlockRows, done = blocks * Rows::kBlockRows;
    uint32_t count = scan_blocks(rows, dst->res_bv, 0, Masks(), blocks, typename Rows::Test(set));
    clear_rows_from(dst->res_bv, done, row_count);
    count += scan_tail(rows, dst->res_bv, Masks(), done, row_count, [set](auto code) { return is_in_set(set, code); });
    return store_count(dst, keep_rows_in({nullptr, ctx}, dst->res_bv, row_count, count));
}

template <int kWidth>
[[gnu::always_inline]] inline uint64_t set_selective_body(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *operand,
                                                          kdzk_exec_ctx *ctx) {
    const SetRows<kWidth> rows(payload_of<kSetId<kWidth>>(src, ctx));
    mark_ran(ctx, KDZK_RAN_SELECTIVE_SET);
    clear_rows_from(dst->res_bv, 0, src->row_count);
    const uint64_t *set = operand->res_bv;
    return store_count(dst, test_selected(rows, dst->res_bv, ctx->sel_bv, src->row_count,
                                          [set](auto code) { return is_in_set(set, code); }));
}

}  // namespace kdzk
