// unpacked_symbols.h: the symbols of codes that are plain integers already, in blocks of eight, the rest one by one.
// The width of the packed codes makes no difference any more: it is the element's size that counts.
#pragma once

#include "decode/symbols.h"
#include "frame/element_lanes.h"
#include "lanes.h"

namespace kdzk {

inline constexpr uint32_t kSymbolBlockRows = 8, kSymbolPrefetchBytes = 512;

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

[[gnu::always_inline]] inline void store_addresses(const SymbolRows &out, uint64_t at, Lanes<32> offsets,
                                                   Lanes<64> first) {
    store_lanes(out.addresses + 8 * at, plus(first, widen_low(offsets)));
    store_lanes(out.addresses + 8 * at + kVectorBytes, plus(first, widen_high(offsets)));
}

template <typename Element>
[[gnu::always_inline]] inline void decode_block(const EvenSymbols &symbols, const SymbolRows &out, const uint8_t *codes,
                                                uint64_t at) {
    const auto [low, high] = load_eight<Element>(codes);
    const Lanes<32> length = spread(symbols.length);
    const Lanes<64> first = spread(symbols.first);
    store_addresses(out, at, times(low, length), first);
    store_addresses(out, at + 4, times(high, length), first);
    store_lanes(out.lengths + 2 * at, spread(uint16_t(symbols.length)));
    store_lanes(out.flags + 2 * at, spread(uint16_t(KDZK_ROW_VALUE)));
}

// Kept on purpose: in blocks a length of 64 KiB and more saturates, row by row its low 16 bits are taken.
template <typename Element>
[[gnu::always_inline]] inline void decode_block(const OffsetSymbols &symbols, const SymbolRows &out,
                                                const uint8_t *codes, uint64_t at) {
    // Two codes' starts and ends in a vector; then the starts of four together, and their ends.
    const auto span = [&](int code) {
        return load_low_half<32>(symbols.offsets + 4 * uint64_t{load<Element>(codes + sizeof(Element) * size_t(code))});
    };
    const auto in_order = [](Lanes<32> big_endian) { return ElementLanes<32>::in_order<true>(seen_as<8>(big_endian)); };
    const Lanes<64> first = spread(symbols.first);
    Lanes<32> lengths[2];
    for (int half = 0; half < 2; ++half) {
        const Lanes<32> two = low_halves(span(4 * half), span(4 * half + 1));
        const Lanes<32> other_two = low_halves(span(4 * half + 2), span(4 * half + 3));
        const Lanes<32> starts = in_order(even_lanes(two, other_two)), ends = in_order(odd_lanes(two, other_two));
        store_addresses(out, at + 4 * uint64_t(half), starts, first);
        lengths[half] = minus(ends, starts);
    }
    const Lanes<16> length = narrow_numbers(lengths[0], lengths[1]);
    store_lanes(out.lengths + 2 * at, length);
    store_lanes(out.flags + 2 * at, both(equal(length, spread(uint16_t{0})), spread(uint16_t(KDZK_ROW_EMPTY))));
}

// Takes symbols and arrays as copies: stores of bytes might change what lies behind a reference.
template <typename Element, typename Symbols>
void decode_codes(Symbols symbols, SymbolRows out, const uint8_t *codes, uint32_t rows) {
    const auto decode_eight = [=](uint64_t at) __attribute__((always_inline)) {
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
        decode_eight(at);
        decode_eight(at + kSymbolBlockRows);
        decode_eight(at + 2 * kSymbolBlockRows);
        decode_eight(at + 3 * kSymbolBlockRows);
    }
    for (; at < in_blocks; at += kSymbolBlockRows)
        decode_eight(at);
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
