// symbols.h: from codes to the dictionary's symbols: where each begins, how long it is, and whether it is empty. A
// dictionary's symbols have one length, or lie between offsets in a table.
#pragma once

#include "bitvec/bits.h"
#include "frame/element_lanes.h"
#include "frame/platform.h"
#include "lanes.h"

namespace kdzk {

enum class DictKind : uint32_t { one_length = 0, offsets = 1 };

// The three arrays that a host gives to be filled, entry by entry.
struct SymbolRows {
    uint8_t *addresses, *lengths, *flags;  // of 64, 16 and 16 bits an entry

    explicit SymbolRows(const kdzk_vec *dst)
        : addresses(static_cast<uint8_t *>(dst->data)),
          lengths(static_cast<uint8_t *>(dst->lens)),
          flags(reinterpret_cast<uint8_t *>(dst->row_flags)) {}

    void set_address(uint64_t at, uint64_t address) const { store(addresses + 8 * at, address); }
    void set_length(uint64_t at, uint16_t length) const { store(lengths + 2 * at, length); }
    void set_flag(uint64_t at, uint16_t flag) const { store(flags + 2 * at, flag); }

    // All values are empty: their addresses stay as they are.
    void set_all_empty(uint32_t count) const {
        fill(lengths, count, 0);
        fill(flags, count, KDZK_ROW_EMPTY);
    }

  private:
    static void fill(uint8_t *entries, uint32_t count, uint16_t value) {
        constexpr uint32_t at_a_time = kVectorBytes / sizeof value;
        const Lanes<16> values = spread(value);
        uint64_t at = 0;
        for (; at < count / at_a_time * at_a_time; at += at_a_time)
            store_lanes(entries + sizeof value * at, values);
        for (; at < count; ++at)
            store(entries + sizeof value * at, value);
    }
};

// Symbols of one length.
struct EvenSymbols {
    uint64_t first;
    uint32_t length;

    explicit EvenSymbols(const kdzk_enc_ctx *encoding)
        : first(encoding->sym_data), length(load_be<uint16_t>(encoding->sym_len_be)) {}

    // The product is taken in 32 bits.
    uint64_t address(uint32_t code) const { return first + uint32_t(code * length); }
};

// Symbols between offsets.
struct OffsetSymbols {
    uint64_t first;
    const uint8_t *offsets;

    explicit OffsetSymbols(const kdzk_enc_ctx *encoding)
        : first(encoding->sym_data), offsets(static_cast<const uint8_t *>(encoding->sym_off_be)) {}

    // Where a code's symbol begins, and where the next one's does.
    struct Span {
        uint32_t start, end;
    };
    Span span(uint32_t code) const {
        const uint64_t both = load_be<uint64_t>(offsets + 4 * uint64_t{code});
        return {uint32_t(both >> 32), uint32_t(both)};
    }
};

// One entry. Of symbols of 64 KiB and more, the length's low 16 bits are taken.
inline void decode_code(const EvenSymbols &symbols, const SymbolRows &out, uint32_t code, uint64_t at) {
    out.set_address(at, symbols.address(code));
    out.set_length(at, uint16_t(symbols.length));
    out.set_flag(at, KDZK_ROW_VALUE);
}

inline void decode_code(const OffsetSymbols &symbols, const SymbolRows &out, uint32_t code, uint64_t at) {
    const auto [start, end] = symbols.span(code);
    const uint16_t length = uint16_t(end - start);
    out.set_address(at, symbols.first + start);
    out.set_length(at, length);
    out.set_flag(at, length == 0 ? KDZK_ROW_EMPTY : KDZK_ROW_VALUE);
}

inline constexpr uint32_t kSymbolBlockRows = 8;

[[gnu::always_inline]] inline void store_addresses(const SymbolRows &out, uint64_t at, Lanes<32> offsets,
                                                   Lanes<64> first) {
    store_lanes(out.addresses + 8 * at, plus(first, widen_low(offsets)));
    store_lanes(out.addresses + 8 * at + kVectorBytes, plus(first, widen_high(offsets)));
}

// The lengths and flags of eight symbols of one length.
[[gnu::always_inline]] inline void store_even_lengths(const EvenSymbols &symbols, const SymbolRows &out, uint64_t at) {
    store_lanes(out.lengths + 2 * at, spread(uint16_t(symbols.length)));
    store_lanes(out.flags + 2 * at, spread(uint16_t(KDZK_ROW_VALUE)));
}

// What a block of eight makes of a symbol of 64 KiB and more, whose length doesn't fit.
enum class LongLengths { saturate, low_bits };

// Eight entries; code_of(i) is the code of the one at `at + i`. Symbols of one length are multiplied out one by one:
// codes that come so would have to be put into vectors first. Their length always fits.
template <LongLengths, typename CodeOf>
[[gnu::always_inline]] inline void decode_eight(const EvenSymbols &symbols, const SymbolRows &out, CodeOf code_of,
                                                uint64_t at) {
#pragma GCC unroll 8
    for (uint32_t i = 0; i < kSymbolBlockRows; ++i)
        out.set_address(at + i, symbols.address(code_of(i)));
    store_even_lengths(symbols, out, at);
}

template <LongLengths long_lengths, typename CodeOf>
[[gnu::always_inline]] inline void decode_eight(const OffsetSymbols &symbols, const SymbolRows &out, CodeOf code_of,
                                                uint64_t at) {
    // Two codes' starts and ends in a vector; then the starts of four together, and their ends.
    const auto span = [&](uint32_t i) { return load_low_half<32>(symbols.offsets + 4 * uint64_t{code_of(i)}); };
    const auto in_order = [](Lanes<32> big_endian) { return ElementLanes<32>::in_order<true>(seen_as<8>(big_endian)); };
    const Lanes<64> first = spread(symbols.first);
    const auto decode_four = [&](uint32_t i) __attribute__((always_inline)) {
        const Lanes<32> two = low_halves(span(i), span(i + 1)), other_two = low_halves(span(i + 2), span(i + 3));
        const Lanes<32> starts = in_order(even_lanes(two, other_two)), ends = in_order(odd_lanes(two, other_two));
        store_addresses(out, at + i, starts, first);
        const Lanes<32> lengths = minus(ends, starts);
        return long_lengths == LongLengths::low_bits ? both(lengths, spread(uint32_t{0xFFFF})) : lengths;
    };
    const Lanes<32> low = decode_four(0), high = decode_four(4);
    const Lanes<16> length = narrow_numbers(low, high);
    store_lanes(out.lengths + 2 * at, length);
    store_lanes(out.flags + 2 * at, both(equal(length, spread(uint16_t{0})), spread(uint16_t(KDZK_ROW_EMPTY))));
}

// Without a length there is nothing to point at, and no code has to be read.
inline bool are_all_empty(const EvenSymbols &symbols) { return symbols.length == 0; }
inline bool are_all_empty(const OffsetSymbols &) { return false; }

// Calls visit with the symbols of the source's dictionary. A kind that isn't known is refused, and nothing is touched.
template <typename Visit>
[[gnu::always_inline]] inline uint64_t with_symbols(const kdzk_enc_ctx *encoding, Visit visit) {
    switch (DictKind(encoding->dict_kind)) {
    case DictKind::one_length:
        visit(EvenSymbols(encoding));
        return KDZK_STATUS_OK;
    case DictKind::offsets:
        visit(OffsetSymbols(encoding));
        return KDZK_STATUS_OK;
    }
    return KDZK_STATUS_REFUSED;
}

}  // namespace kdzk
