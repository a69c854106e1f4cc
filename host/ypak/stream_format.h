// stream_format.h: where the fields of a YPAK stream lie and what they may hold, for its writer and its checker.
#pragma once

#include <bit>
#include <cstdint>

namespace qvk {

inline constexpr char kStreamMagic[] = {'Y', 'P', 'A', 'K'};
inline constexpr uint32_t kMaxSymbols = 1024, kMaxSymbolBytes = 8;

// Codes of one or two bits: decoders that take codes in blocks know no more of them.
inline constexpr uint32_t kMaxShortCodes = 63, kShortCodeBits = 2;

enum StreamFlags : uint8_t { kFlagRequired = 0x02, kFlagsRefused = 0x01 | 0x08 };

// In bytes from the stream's start. Integers are big-endian.
enum StreamOffsets : uint32_t {
    kVersionAt = 4,
    kFlagsAt = 5,
    kAuxCountAt = 10,  // signed, 16 bits; above 0: the extended form
    kUncompressedLengthAt = 12,
    kSymbolCountAt = 16,
    kSymbolLengthsAt = 18,
};

inline constexpr uint32_t kSymbolLengthBits = 4, kCodeCountBytes = 4;

// The extended form's two additions: a table between the symbols' lengths and bytes, and, behind the code count, a word
// whose upper bits are the distance in bytes from itself to the codes.
inline constexpr uint32_t kAuxBytesPerSymbol = 2, kAuxSpanBytes = 4, kAuxSpanShift = 7;

inline uint32_t code_bits_for(uint64_t symbol_count) { return static_cast<uint32_t>(std::bit_width(symbol_count - 1)); }

inline uint64_t code_bytes_for(uint64_t code_count, uint32_t code_bits) { return (code_count * code_bits + 7) / 8; }

}  // namespace qvk
