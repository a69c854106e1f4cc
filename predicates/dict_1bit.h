// dict_1bit.h: codes of one bit. The payload is a bit vector already, in the opposite bit order to the result's: R, the
// codes in the result's order, is all that there is to scan, and the keys alone decide what becomes of it.
#pragma once

#include "frame/main_body.h"
#include "predicates/dict.h"

namespace kdzk {

enum class BitResult : uint8_t { nothing, codes, inverted_codes, everything };

// A key as the decision sees it: 0, 1, or a number that no code of one bit is.
inline constexpr uint32_t kKeyKinds = 3;
constexpr uint32_t key_kind(uint32_t key) { return key < kKeyKinds ? key : kKeyKinds - 1; }

// What an operator over keys of these kinds makes of the codes: its answers for the codes 0 and 1. Kept on purpose for
// keys that no code is: a range with one hits nothing; ne takes one for 0, in the null form for 1; every other operator
// takes one for 1. Selective bodies compare with such keys instead.
template <Operator op, Form form>
constexpr BitResult bit_result(uint32_t lower_kind, uint32_t upper_kind) {
    constexpr bool plain_ne = row_of(op).complemented && form != Form::null;
    if (is_range(op) && (lower_kind > 1 || upper_kind > 1))
        return BitResult::nothing;
    const uint32_t stand_in = plain_ne ? 0 : 1;
    const Keys<uint32_t> keys = {lower_kind > 1 ? stand_in : lower_kind, upper_kind > 1 ? stand_in : upper_kind};
    const bool zeros = passes<op, form>(0u, keys), ones = passes<op, form>(1u, keys);
    return zeros  ? ones ? BitResult::everything : BitResult::inverted_codes
           : ones ? BitResult::codes
                  : BitResult::nothing;
}

struct BitDecisions {
    BitResult of[kKeyKinds][kKeyKinds];
};

template <Operator op, Form form>
inline constexpr BitDecisions kBitDecisions = [] {
    BitDecisions decisions{};
    for (uint32_t lower = 0; lower < kKeyKinds; ++lower)
        for (uint32_t upper = 0; upper < kKeyKinds; ++upper)
            decisions.of[lower][upper] = bit_result<op, form>(lower, upper);
    return decisions;
}();

inline constexpr uint32_t kBitBlockRows = 128;

// R into the result: the payload with the bits of each byte in the opposite order; zeros above the last row.
void copy_bit_codes(const uint8_t *payload, uint64_t *res_bv, uint32_t rows);

// All rows below rows set, and none above; returns how many.
uint32_t set_all_rows(uint64_t *res_bv, uint32_t rows);

// Replaces R by the result; returns the hits. Inverting whole words leaves ones above the last row, kept on purpose:
// hosts read the first rows bits alone.
uint32_t decide_bits(BitResult decision, const uint8_t *payload, uint64_t *res_bv, uint32_t rows);

template <typename Encoding, Operator op, auto selective>
requires(Encoding::kWidthBits == 1) [[gnu::always_inline]] inline uint64_t
    main_body(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *lower, const kdzk_pred *upper, kdzk_exec_ctx *ctx) {
    if (asks_for_selected_rows(ctx))
        return selective(dst, src, lower, upper, ctx);
    const uint8_t *payload = payload_of<kernel_id<Encoding>(op)>(src, ctx);
    const auto keys = read_keys<Encoding, op>(lower, upper);
    const BitResult decision = kBitDecisions<op, Encoding::kForm>.of[key_kind(keys.lower)][key_kind(keys.upper)];
    // Kept on purpose: with NULLs, the source's filter isn't looked at.
    const uint64_t *filter = Encoding::kForm == Form::null ? nullptr : src->filter_bv;
    return close(dst, filter, ctx, decide_bits(decision, payload, dst->res_bv, dst->row_count));
}

// The encoding: what a selective body needs of it.
template <Form form>
struct Dict<1, form> {
    using Key = DictKey<1>;
    static constexpr KernelClass kClass = KernelClass::dict;
    static constexpr uint8_t kWidthBits = 1;
    static constexpr Form kForm = form;

    static Key read_key(const kdzk_pred *pred) { return load<Key>(pred->data); }
    static Key value_at(const uint8_t *payload, uint32_t row) { return fetch_code<1>(payload, row); }
};

}  // namespace kdzk
