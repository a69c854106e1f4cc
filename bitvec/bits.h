// bits.h: memory, words and single bits in general registers. Memory may lie at any address: nothing here needs
// alignment.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace kdzk {

inline constexpr uint32_t kWordBits = 64;

template <typename T>
T load(const void *at) {
    T value;
    memcpy(&value, at, sizeof value);
    return value;
}

// The low bytes of a word, up to eight; the others are zero.
inline uint64_t load_first_bytes(const void *at, size_t bytes) {
    uint64_t word = 0;
    memcpy(&word, at, bytes);
    return word;
}

template <typename T>
void store(void *at, T value) {
    memcpy(at, &value, sizeof value);
}

inline uint8_t byte_swapped(uint8_t value) { return value; }
inline uint16_t byte_swapped(uint16_t value) { return __builtin_bswap16(value); }
inline uint32_t byte_swapped(uint32_t value) { return __builtin_bswap32(value); }
inline uint64_t byte_swapped(uint64_t value) { return __builtin_bswap64(value); }

template <typename T>
T load_be(const void *at) {
    return byte_swapped(load<T>(at));
}

// The words that hold so many rows; 64 bits, so that it holds for any u32.
constexpr uint64_t words_for(uint64_t rows) { return (rows + kWordBits - 1) / kWordBits; }

inline uint32_t ones_in(uint64_t word) { return uint32_t(std::popcount(word)); }

// The low bits of a word; count below 64.
constexpr uint64_t low_bits(uint64_t count) { return (uint64_t{1} << count) - 1; }

inline void or_word(void *vector, uint64_t word_index, uint64_t bits) {
    uint8_t *at = static_cast<uint8_t *>(vector) + word_index * sizeof bits;
    store(at, load<uint64_t>(at) | bits);
}

inline void or_bit(void *vector, uint32_t row, bool value) {
    or_word(vector, row / kWordBits, uint64_t{value} << row % kWordBits);
}

inline bool bit_at(const void *vector, uint32_t row) {
    return static_cast<const uint8_t *>(vector)[row / 8] >> row % 8 & 1;
}

}  // namespace kdzk
