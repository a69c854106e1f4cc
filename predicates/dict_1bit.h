// dict_1bit.h: codes of one bit. The payload is a bit vector already, in the opposite bit order to the result's: R, the
// codes in the result's order, is all that there is to scan, and the keys alone decide what becomes of it.
#pragma once

#include "frame/main_body.h"
#include "predicates/dict.h"

namespace kdzk {

enum class BitResult : uint8_t { nothing, codes, inverted_codes, everything };

// What an operator makes of the codes: its answers for the codes 0 and 1. Kept on purpose for keys that no code is: a
// range with one hits nothing; ne takes one for 0, in the null form for 1; every other operator takes one for 1.
// Selective bodies compare with such keys instead.
template <Operator op, Form form>
constexpr BitResult bit_result(Keys<uint32_t> keys) {
    constexpr uint32_t stand_in = row_of(op).complemented && form != Form::null ? 0 : 1;
    if (is_range(op) && (keys.lower > 1 || keys.upper > 1))
        return BitResult::nothing;
    const Keys<uint32_t> known = {keys.lower > 1 ? stand_in : keys.lower, keys.upper > 1 ? stand_in : keys.upper};
    const bool zeros = passes<op, form>(0u, known), ones = passes<op, form>(1u, known);
    if (zeros)
        return ones ? BitResult::everything : BitResult::inverted_codes;
    return ones ? BitResult::codes : BitResult::nothing;
}

// Fills the result as decided; returns the hits that the masks leave. Reads the payload for the codes and their
// complement alone. The complement of whole words leaves ones above the last row, kept on purpose: hosts read the first
// rows bits alone.
uint32_t fill_bit_result(BitResult decision, const uint8_t *payload, uint64_t *res_bv, Masks masks, uint32_t rows);

// The main body in which the keys decide. Kept on purpose: with NULLs, the source's filter isn't looked at.
template <typename Encoding, Operator op, auto selective>
requires(Encoding::kKeysDecide) [[gnu::always_inline]] inline uint64_t
    main_body(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *lower, const kdzk_pred *upper, kdzk_exec_ctx *ctx) {
    if (asks_for_selected_rows(ctx))
        return selective(dst, src, lower, upper, ctx);
    const uint8_t *payload = payload_of<kernel_id<Encoding>(op)>(src, ctx);
    const BitResult decision = bit_result<op, Encoding::kForm>(read_keys<Encoding, op>(lower, upper));
    const Masks masks(Encoding::kForm == Form::null ? nullptr : src->filter_bv, ctx);
    return store_count(dst, fill_bit_result(decision, payload, dst->res_bv, masks, dst->row_count));
}

template <Form form>
struct Dict<1, form> {
    using Key = DictCode<1>;
    static constexpr KernelClass kClass = KernelClass::dict;
    static constexpr uint8_t kWidthBits = 1;
    static constexpr Form kForm = form;
    static constexpr bool kKeysDecide = true;

    struct Rows {
        using Value = Key;
        const uint8_t *payload;
        Key value_at(uint32_t row) const { return fetch_code<1>(payload, row); }
    };

    static Key read_key(const kdzk_pred *pred) { return load<Key>(pred->data); }

    template <Body, typename Visit>
    [[gnu::always_inline]] static uint32_t with_rows(Source source, Visit visit) {
        return visit(Rows{source.payload});
    }
};

}  // namespace kdzk
