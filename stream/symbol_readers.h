// symbol_readers.h: turns a code stream into bytes. A code of so many bits, most significant bit first, selects a
// symbol of 1 to 8 bytes.
#pragma once

#include <cstdint>

#include "bitvec/bits.h"

namespace kdzk {

inline constexpr uint32_t kSymbolBytes = 8;

// Symbols as the driver lays them out: entry i of `symbols` holds symbol i in its first bytes, and its length in bytes
// is entry i of `lengths`.
struct SymbolTable {
    const uint8_t *symbols;
    const uint8_t *lengths;
};

// Writes one symbol exactly: no byte behind it is touched. Lengths are 1 to 8; nothing tests for that.
inline uint8_t *write_symbol(SymbolTable table, uint32_t code, uint8_t *output) {
    const uint8_t *symbol = table.symbols + kSymbolBytes * code;
    uint8_t left = table.lengths[code];
    do {
        *output++ = *symbol++;
    } while (--left != 0);
    return output;
}

// Codes that are bytes: nothing behind the last code is read. Returns the end of the output.
inline uint8_t *read_byte_codes(const uint8_t *codes, uint32_t code_count, SymbolTable table, uint8_t *output) {
    for (uint32_t i = 0; i < code_count; ++i)
        output = write_symbol(table, codes[i], output);
    return output;
}

// Codes of 0 to 10 bits, through a window of two bytes, which may reach one byte behind the last code. 16 bits suffice:
// up to 9 bits at any offset in the first byte, 10 bits at the even ones, and no others occur.
inline uint8_t *read_packed_codes(const uint8_t *codes, uint32_t code_count, SymbolTable table, uint8_t *output,
                                  uint32_t code_bits) {
    const uint32_t mask = (1u << code_bits) - 1;
    uint32_t offset = 0;
    for (uint32_t i = 0; i < code_count; ++i) {
        const uint32_t window = load_be<uint16_t>(codes);
        output = write_symbol(table, window >> (16 - code_bits - offset) & mask, output);
        offset += code_bits;
        codes += offset / 8;
        offset %= 8;
    }
    return output;
}

}  // namespace kdzk
