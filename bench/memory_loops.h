// memory_loops.h: what the machine itself can do, measured in the same run as the kernels: loops with the same loads
// and stores and as little else as possible.
#pragma once

#include <cstddef>
#include <cstdint>

// Reads all bytes, a multiple of 128, with sixteen-byte loads; returns a value that depends on all of them.
uint64_t read_all(const void *from, size_t bytes);

// dst = a & b, words of 64 bits: the plain loop, as the compiler makes it.
void and_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words);

// The same with a count of the result's ones, as the compiler makes it.
uint64_t and_and_count_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words);

// Ones, as the compiler makes it.
uint64_t count_words(const uint64_t *words, size_t count);

// The rows of the set bits below rows, found bit by bit; stores them in out and returns how many.
size_t list_rows_bit_by_bit(const uint64_t *words, uint32_t rows, uint32_t *out);

// Rows as a plain loop takes them. lens: the length fields of dynp rows.
struct PlainRows {
    const uint8_t *payload, *lens;
    uint32_t count;
};

// What a plain loop makes of a predicate: fetches each row's number, compares it, and gathers the bits word by word;
// returns the hits.
using PlainScan = uint32_t (*)(const PlainRows &rows, uint64_t lower, uint64_t upper, uint64_t *res_bv);

// What it compares with: the lower key, the lower key as the one bound, both.
enum class Comparison { equality, one_bound, two_bounds };

// For widths of 1 to 64 bits. Payloads are readable eight bytes behind their last code.
PlainScan plain_scan(uint32_t width_bits, Comparison comparison);

// For lanes of 16, 32 and 64 bits: walks from row to row by their lengths.
PlainScan plain_dynp_scan(uint32_t lane_bits, Comparison comparison);

// Codes of 1 to 32 bits to integers of element_bits, 8, 16 or 32, and codes to the bits that set has for them.
using PlainUnpack = void (*)(const PlainRows &rows, uint8_t *to);
using PlainSetTest = uint32_t (*)(const PlainRows &rows, const uint64_t *set, uint64_t *res_bv);
PlainUnpack plain_unpack(uint32_t width_bits, uint32_t element_bits);
PlainSetTest plain_set_test(uint32_t width_bits);

// A flat Bloom filter of so many bits, less one, probed with big-endian hashes of 32 bits: all rows, a multiple of 64,
// and listed ones. Both return the hits.
uint32_t probe_filter(const void *hashes, const void *filter, uint32_t mask, uint32_t rows, uint64_t *res_bv);
uint32_t probe_filter_rows(const void *hashes, const void *filter, uint32_t mask, const uint32_t *rows, uint64_t count,
                           uint64_t *res_bv);

// So many additions, each waiting for the one before: one cycle each.
uint64_t dependent_adds(uint64_t count);
