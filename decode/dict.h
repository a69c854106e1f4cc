// dict.h: the symbols of listed rows. A gather: one random read of the payload a row, and for symbols between offsets
// one of their table. No byte of a symbol is looked at.
#pragma once

#include "decode/symbols.h"
#include "frame/payload.h"
#include "frame/row_fetch.h"

namespace kdzk {

// Codes are fetched one by one; so are, of symbols of one length, addresses made and stored. All else goes by blocks of
// eight rows.
template <int kWidth, typename Symbols>
[[gnu::always_inline]] inline void decode_rows(const Symbols &symbols, const SymbolRows &out, const uint8_t *payload,
                                               const uint32_t *rows, uint32_t count) {
    const auto code_of = [=](uint64_t at) { return uint32_t(fetch_code<kWidth>(payload, rows[at])); };
    uint64_t at = 0;
    for (; at < count / kSymbolBlockRows * kSymbolBlockRows; at += kSymbolBlockRows)
        decode_eight<LongLengths::low_bits>(
            symbols, out, [=](uint32_t i) { return code_of(at + i); }, at);
    for (; at < count; ++at)
        decode_code(symbols, out, code_of(at), at);
}

template <int kWidth>
uint64_t decode(kdzk_vec *dst, const kdzk_vec *src, kdzk_exec_ctx *ctx) {
    constexpr KernelId id = {KernelClass::dict, kWidth, Operation::decode, Form::plain};
    return with_symbols(
        src->enc_ctx, [=](const auto &symbols) __attribute__((always_inline)) {
            const SymbolRows out(dst);
            const uint32_t count = ctx->row_list_len;
            if (are_all_empty(symbols)) {
                out.set_all_empty(count);
            } else {
                // Before the payload, so that a raise that leaves by a jump finds it done.
                memset(out.flags, 0, 2 * uint64_t{count});
                const uint8_t *payload = payload_of<id>(src, ctx);
                decode_rows<kWidth>(symbols, out, payload, ctx->row_list, count);
            }
            // An empty list has no last entry: the position stays.
            if (count > 0)
                ctx->row_pos = ctx->row_list[count - 1];
            dst->hit_count = count;
        });
}

}  // namespace kdzk
