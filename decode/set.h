// set.h: whether each row's code is in a set, a bit vector over codes. Of the set, a word is read if a code in it
// occurs, and none behind: hosts may end it with the highest code in use.
//
// Codes of up to six bits have the set in one word, which becomes a table in a register: a byte shuffle finds the eight
// bits that a code's upper bits name, another one the bit that its lower three name. Wider codes are numbers, and each
// reads its word of the set.
#pragma once

#include "decode/codes.h"
#include "frame/code_window.h"
#include "frame/main_body.h"
#include "frame/selective_body.h"

namespace kdzk {

inline bool is_in_set(const uint64_t *set, uint64_t code) {
    const uint8_t *at = reinterpret_cast<const uint8_t *>(set);
    return load<uint64_t>(at + code / kWordBits * sizeof(uint64_t)) >> code % kWordBits & 1;
}

// Sets of one word.
template <int kWidth>
struct SmallSetTest {
    static constexpr bool kFindsMisses = false;
    Lanes<8> eighths, single_bits;

    explicit SmallSetTest(const uint64_t *set) : eighths(load_low_half<8>(set)), single_bits(bit_of_each()) {}

    static Lanes<8> bit_of_each() {
        static constexpr auto kBits = [] {
            std::array<uint8_t, kVectorBytes> bits{};
            for (size_t bit = 0; bit < 8; ++bit)
                bits[bit] = uint8_t(1 << bit);
            return bits;
        }();
        return load_lanes<8>(kBits.data());
    }

    template <int gather>
    [[gnu::always_inline]] Lanes<8> sixteen_rows(const uint8_t *block) const {
        using Codes = CodesOf<kWidth>;
        const Lanes<8> codes =
            narrow_numbers(Codes::template codes<2 * gather>(block), Codes::template codes<2 * gather + 1>(block));
        // A shift of pairs of bytes brings three bits of one into the other.
        const Lanes<8> upper = seen_as<8>(shifted_down<3>(seen_as<16>(codes)));
        const Lanes<8> eighth = pick_bytes<8>(eighths, both(upper, spread(uint8_t{0x07})));
        const Lanes<8> bit = pick_bytes<8>(single_bits, both(codes, spread(uint8_t{0x07})));
        return equal(both(eighth, bit), bit);
    }
};

// Larger sets.
template <int kWidth, uint32_t kRows>
struct LargeSetTest {
    const uint64_t *set;

    explicit LargeSetTest(const uint64_t *large_set) : set(large_set) {}

    [[gnu::always_inline]] UnsignedOf<int(kRows)> whole_block(const uint8_t *block) const {
        // Backwards, so that a row's bit moves up as those before it come in: a bit test and an addition a row.
        uint32_t result = 0;
        CodeWindow<kWidth>::template for_each<int(kRows), true>(
            block, [&](uint64_t code) __attribute__((always_inline)) { result = 2 * result + is_in_set(set, code); });
        return UnsignedOf<int(kRows)>(result);
    }
};

template <int kWidth>
inline constexpr bool kIsSmallSet = kWidth <= 6;
template <int kWidth>
inline constexpr uint32_t kSetBlockRows = kIsSmallSet<kWidth>       ? 64
                                          : lane_bits(kWidth) <= 16 ? 32
                                                                    : 16;

template <int kWidth>
struct SetRows : EvenBlocks<kSetBlockRows<kWidth> * kWidth / 8> {
    using EvenBlocks<kSetBlockRows<kWidth> * kWidth / 8>::EvenBlocks;
    using Value = DictCode<kWidth>;
    static constexpr bool kIsSmall = kIsSmallSet<kWidth>;
    static constexpr uint32_t kBlockRows = kSetBlockRows<kWidth>;
    using Test = std::conditional_t<kIsSmall, SmallSetTest<kWidth>, LargeSetTest<kWidth, kBlockRows>>;
    static_assert(kIsSmall || fills_elements(kWidth)
                  || CodeWindow<kWidth>::bytes_read_behind(kBlockRows) <= KDZK_DICT_SLACK_BYTES);

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
    uint32_t count = scan_blocks(rows, dst->res_bv, blocks, typename Rows::Test(set));
    clear_rows_from(dst->res_bv, done, row_count);
    count += scan_tail(rows, dst->res_bv, done, row_count, [set](auto code) { return is_in_set(set, code); });
    return mask_and_store_count(dst, row_count, nullptr, ctx, count);
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
