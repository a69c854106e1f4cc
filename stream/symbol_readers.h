// symbol_readers.h: turns a code stream into bytes. A code of so many bits, most significant bit first, selects a
// symbol of 1 to 8 bytes.
//
// Codes are taken in blocks of 32. Each stores its symbol's whole eight-byte word and moves on by the symbol's length,
// so that nothing depends on the length but where the next one is stored. Up to seven bytes behind the symbol are
// written too, and overwritten by what follows. So the last 32 codes at least are taken one by one and written exactly:
// they are 32 bytes or more, and no block writes beyond the output or reads beyond the codes.
#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "bitvec/bits.h"
#include "frame/code_window.h"

namespace kdzk {

inline constexpr uint32_t kSymbolBytes = 8;
inline constexpr uint32_t kMaxCodeBits = 10;
inline constexpr uint32_t kBlockCodes = 32;

// Symbols as the driver lays them out: entry i of `symbols` holds symbol i in its first bytes, and its length in bytes
// is entry i of `lengths`.
struct SymbolTable {
    const uint8_t *symbols;
    const uint8_t *lengths;
};

inline uint8_t *write_word(SymbolTable table, uint64_t code, uint8_t *output) {
    store(output, load<uint64_t>(table.symbols + kSymbolBytes * code));
    return output + table.lengths[code];
}

// Writes one symbol exactly: no byte behind it is touched. Lengths are 1 to 8; nothing tests for that.
inline uint8_t *write_symbol(SymbolTable table, uint64_t code, uint8_t *output) {
    const uint8_t *symbol = table.symbols + kSymbolBytes * code;
    uint8_t left = table.lengths[code];
    do {
        *output++ = *symbol++;
    } while (--left != 0);
    return output;
}

// Returns the end of the output, as the next one does.
template <int kWidth>
uint8_t *ypak_read_codes_blocks(const uint8_t *codes, uint32_t blocks, SymbolTable table, uint8_t *output) {
    // A block's last load ends within the 32 codes that follow every block.
    static_assert(CodeWindow<kWidth>::bytes_read_behind(kBlockCodes) <= int(kBlockCodes) * kWidth / 8 || kWidth == 0);
    for (; blocks != 0; --blocks) {
        // By windows: cut by byte shuffles in lanes, each code would have to leave its vector again.
        CodeWindow<kWidth>::template for_each<kBlockCodes>(
            codes, [&](uint64_t code) __attribute__((always_inline)) { output = write_word(table, code, output); });
        codes += kBlockCodes * kWidth / 8;
    }
    return output;
}

// Code by code through a window of two bytes, which may reach one byte behind the last code. 16 bits suffice: up to 9
// bits at any offset in the first byte, 10 bits at the even ones, and no others occur. Codes that are bytes need no
// window, and nothing behind the last one is read.
template <int kWidth>
uint8_t *ypak_read_codes_tail(const uint8_t *codes, uint32_t code_count, SymbolTable table, uint8_t *output) {
    if constexpr (kWidth == 8) {
        for (; code_count != 0; --code_count)
            output = write_symbol(table, *codes++, output);
        return output;
    }
    uint32_t offset = 0;
    for (; code_count != 0; --code_count) {
        const uint32_t window = load_be<uint16_t>(codes);
        output = write_symbol(table, window >> (16 - kWidth - offset) & CodeWindow<kWidth>::kMask, output);
        offset += kWidth;
        codes += offset / 8;
        offset %= 8;
    }
    return output;
}

// Returns the number of bytes written.
template <int kWidth>
uint32_t ypak_read_codes(const uint8_t *codes, uint32_t code_count, SymbolTable table, uint8_t *output) {
    const uint32_t blocks = code_count <= kBlockCodes ? 0 : code_count / kBlockCodes - 1;
    uint8_t *end = ypak_read_codes_blocks<kWidth>(codes, blocks, table, output);
    end = ypak_read_codes_tail<kWidth>(codes + size_t{blocks} * kBlockCodes * kWidth / 8,
                                       code_count - blocks * kBlockCodes, table, end);
    return uint32_t(end - output);
}

using CodeReader = uint32_t (*)(const uint8_t *codes, uint32_t code_count, SymbolTable table, uint8_t *output);

template <int... kWidths>
constexpr std::array<CodeReader, sizeof...(kWidths)> readers_of(std::integer_sequence<int, kWidths...>) {
    return {ypak_read_codes<kWidths>...};
}
// By code width in bits.
inline constexpr auto kCodeReaders = readers_of(std::make_integer_sequence<int, kMaxCodeBits + 1>());

}  // namespace kdzk
