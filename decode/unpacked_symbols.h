// unpacked_symbols.h: the symbols of codes that are plain integers already, in blocks of eight, the rest one by one.
// The width of the packed codes makes no difference any more: it is the element's size that counts.
#pragma once

#include "decode/symbols.h"
#include "frame/element_lanes.h"
#include "lanes.h"

namespace kdzk {

inline constexpr uint32_t kSymbolPrefetchBytes = 512;

// Eight codes in two vectors.
struct EightCodes {
    Lanes<32> low, high;
};

template <typename Element>
EightCodes load_eight(const uint8_t *codes) {
    if constexpr (sizeof(Element) == 4) {
        return {load_lanes<32>(codes), load_lanes<32>(codes + kVectorBytes)};
    } else {
        Lanes<16> both;
        if constexpr (sizeof(Element) == 2)
            both = load_lanes<16>(codes);
        else
            both = widen_low(load_low_half<8>(codes));
        return {widen_low(both), widen_high(both)};
    }
}

template <typename Element>
[[gnu::always_inline]] inline void decode_block(const EvenSymbols &symbols, const SymbolRows &out, const uint8_t *codes,
                                                uint64_t at) {
    const auto [low, high] = load_eight<Element>(codes);
    const Lanes<32> length = spread(symbols.length);
    const Lanes<64> first = spread(symbols.first);
    store_addresses(out, at, times(low, length), first);
    store_addresses(out, at + 4, times(high, length), first);
    store_even_lengths(symbols, out, at);
}

// Kept on purpose: in blocks a length of 64 KiB and more saturates, row by row its low 16 bits are taken.
template <typename Element>
[[gnu::always_inline]] inline void decode_block(const OffsetSymbols &symbols, const SymbolRows &out,
                                                const uint8_t *codes, uint64_t at) {
    decode_eight<LongLengths::saturate>(
        symbols, out, [=](uint32_t code) { return load<Element>(codes + sizeof(Element) * code); }, at);
}

// Takes symbols and arrays as copies: stores of bytes might change what lies behind a reference.
template <typename Element, typename Symbols>
void decode_codes(Symbols symbols, SymbolRows out, const uint8_t *codes, uint32_t rows) {
    const auto decode_at = [=](uint64_t at) __attribute__((always_inline)) {
        prefetch(out.addresses + 8 * at + kSymbolPrefetchBytes);
        decode_block<Element>(symbols, out, codes + sizeof(Element) * at, at);
    };
    // Four blocks fill whole cache lines of the other arrays.
    constexpr uint32_t rows_of_lines = 4 * kSymbolBlockRows;
    const uint64_t in_blocks = rows / kSymbolBlockRows * kSymbolBlockRows,
                   in_lines = rows / rows_of_lines * rows_of_lines;
    uint64_t at = 0;
    for (; at < in_lines; at += rows_of_lines) {
        for (uint32_t line = 0; line < rows_of_lines * sizeof(Element); line += kCacheLineBytes)
            prefetch(codes + sizeof(Element) * at + kSymbolPrefetchBytes + line);
        prefetch(out.lengths + 2 * at + kSymbolPrefetchBytes);
        prefetch(out.flags + 2 * at + kSymbolPrefetchBytes);
        decode_at(at);
        decode_at(at + kSymbolBlockRows);
        decode_at(at + 2 * kSymbolBlockRows);
        decode_at(at + 3 * kSymbolBlockRows);
    }
    for (; at < in_blocks; at += kSymbolBlockRows)
        decode_at(at);
    for (; at < rows; ++at)
        decode_code(symbols, out, load<Element>(codes + sizeof(Element) * at), at);
}

// For widths whose codes are unpacked into Narrow, or into 32 bits where the context says so.
template <typename Narrow>
uint64_t decode_unpacked(kdzk_vec *dst, const kdzk_vec *src, const kdzk_exec_ctx *ctx) {
    return with_symbols(
        src->enc_ctx, [=](const auto &symbols) __attribute__((always_inline)) {
            const SymbolRows out(dst);
            const uint8_t *codes = static_cast<const uint8_t *>(src->data);
            if (are_all_empty(symbols))
                out.set_all_empty(src->row_count);
            else if (sizeof(Narrow) == 4 || ctx->wide_codes != 0)
                decode_codes<uint32_t>(symbols, out, codes, src->row_count);
            else
                decode_codes<Narrow>(symbols, out, codes, src->row_count);
            dst->hit_count = src->row_count;
        });
}

}  // namespace kdzk
