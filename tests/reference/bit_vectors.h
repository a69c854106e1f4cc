// bit_vectors.h: bit-vector algebra and iteration by their rules, one bit at a time and as slowly as they read. Tests
// hold the library against it, so it shares nothing with the library but the public records.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "kdzk.h"

namespace reference {

inline bool bit_at(const void *vector, uint64_t row) {
    return (static_cast<const uint8_t *>(vector)[row / 8] >> (row % 8) & 1) != 0;
}

inline void put_bit(void *vector, uint64_t row, bool bit) {
    uint8_t &byte = static_cast<uint8_t *>(vector)[row / 8];
    const int mask = 1 << (row % 8);
    byte = static_cast<uint8_t>(bit ? byte | mask : byte & ~mask);
}

inline uint32_t count_ones(const void *vector, uint64_t nbits) {
    uint32_t count = 0;
    for (uint64_t row = 0; row < nbits; ++row)
        count += bit_at(vector, row) ? 1 : 0;
    return count;
}

// The smallest part of a vector that a family touches: lbiv a byte, lbiwv a 64-bit word.
enum class Unit : uint64_t { byte = 8, word = 64 };
inline uint64_t extent_bytes(Unit unit, uint64_t nbits) {
    const uint64_t bits = static_cast<uint64_t>(unit);
    return (nbits + bits - 1) / bits * (bits / 8);
}

// Iteration keeps the record as the library must: next, nbits, word_base, bit_pos and cur are visible to hosts.
inline kdzk_lbiv_ictx start_walk(const uint64_t *vector, uint64_t nbits, uint32_t invert, uint64_t start) {
    kdzk_lbiv_ictx walk;
    walk.next = vector + start / 64 + 1;
    walk.nbits = static_cast<uint32_t>(nbits);
    walk.word_base = static_cast<uint32_t>(start / 64 * 64);
    walk.bit_pos = start % 64;
    std::memcpy(&walk.cur, vector + start / 64, 8);
    if (invert % 256 == 1)
        walk.cur = ~walk.cur;
    for (uint64_t bit = 0; bit < walk.bit_pos; ++bit)
        put_bit(&walk.cur, bit, false);
    return walk;
}

// Moves on to the next word that has something to deliver; false if the walk ends before one.
inline bool load_next_word(kdzk_lbiv_ictx &walk, Unit unit, bool zeros) {
    do {
        walk.word_base += 64;
        const int64_t rows_left = int64_t{static_cast<int32_t>(walk.nbits)} - static_cast<int32_t>(walk.word_base);
        if (rows_left <= 0)
            return false;
        const bool is_last = unit == Unit::byte && rows_left < 64;
        walk.cur = 0;
        std::memcpy(&walk.cur, walk.next, is_last ? static_cast<size_t>(rows_left + 7) / 8 : 8);
        if (zeros)
            walk.cur = ~walk.cur;
        walk.next += 1;
        walk.bit_pos = 0;
    } while (walk.cur == 0);
    return true;
}

inline std::optional<uint64_t> next_row(kdzk_lbiv_ictx &walk, Unit unit, bool zeros) {
    if (walk.cur == 0 && !load_next_word(walk, unit, zeros))
        return std::nullopt;
    while (!bit_at(&walk.cur, walk.bit_pos))
        walk.bit_pos += 1;
    put_bit(&walk.cur, walk.bit_pos, false);
    const uint64_t row = walk.word_base + walk.bit_pos;
    if (static_cast<int32_t>(row) >= static_cast<int32_t>(walk.nbits))
        return std::nullopt;
    return row;
}

inline std::vector<uint32_t> next_rows(kdzk_lbiv_ictx &walk, Unit unit, uint64_t max) {
    std::vector<uint32_t> rows;
    while (rows.size() < max) {
        const std::optional<uint64_t> row = next_row(walk, unit, false);
        if (!row)
            break;
        rows.push_back(static_cast<uint32_t>(*row));
    }
    return rows;
}

}  // namespace reference
