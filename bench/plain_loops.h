// plain_loops.h: the tasks of the kernels as loops in plain C++, written to be fast but without intrinsics, and built
// for the library's processor level at -O3. Both compilers build the same source, where both are installed: a kernel is
// compared with the faster one's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Rows as a plain loop takes them: count is a multiple of 64, and payloads are readable eight bytes behind their last
// row. lens: the length fields of dynp and tz rows.
struct PlainRows {
    const uint8_t *payload, *lens;
    uint32_t count;
};

// What a predicate compares with: the lower key, the lower key as the one bound, both. The fields are those of tz keys.
enum class Comparison { equality, one_bound, two_bounds };
struct PlainKeys {
    uint64_t lower, upper;
    uint8_t lower_field, upper_field;
};

// Whether 0 is NULL, or values that tie compare by their length fields.
enum class PlainForm { plain, null, tz };

// A predicate: fetches each row's number, compares it, and gathers the bits word by word; returns the hits.
using PlainScan = uint32_t (*)(const PlainRows &rows, const PlainKeys &keys, uint64_t *res_bv);

// Codes to integers, and to the bits that a set has for them.
using PlainUnpack = void (*)(const PlainRows &rows, void *to);
using PlainSetTest = uint32_t (*)(const PlainRows &rows, const uint64_t *set, uint64_t *res_bv);

// Symbols of one length, or with big-endian offsets; and where the addresses, lengths and flags of rows go.
struct PlainDictionary {
    uint64_t symbols;
    uint32_t length;
    const uint8_t *offsets_be;
};
struct PlainSymbols {
    uint64_t *addresses;
    uint16_t *lengths, *flags;
};

// The symbols of listed rows of packed codes, and of codes that are integers already.
using PlainDecode = void (*)(const PlainRows &rows, const uint32_t *list, const PlainDictionary &dictionary,
                             const PlainSymbols &to);
using PlainLookUp = void (*)(const void *codes, uint32_t count, const PlainDictionary &dictionary,
                             const PlainSymbols &to);

// Runs, one behind the other, with big-endian lengths or big-endian starts and the end of the last; wanted: a bit a
// run. Ones go into a result that was cleared; returns the rows of the wanted runs.
using PlainBurst = uint32_t (*)(const uint8_t *runs, uint32_t count, const uint64_t *wanted, uint64_t *res_bv);

// A masked hash's upper bits name a partition, the lower ones its bit there.
struct PlainPartitions {
    const uint8_t *const *partitions;
    uint32_t mask, shift, part_mask;
};

// A stream's codes of 1 to 57 bits and its symbols, of eight bytes at most.
struct PlainStream {
    const uint8_t *codes;
    uint32_t code_bits;
    uint64_t code_count;
    const uint64_t *symbols;
    const uint8_t *lengths;
};

struct PlainLoops {
    const char *compiler;

    // dst = a & b, words of 64 bits; the same with a count of the result's ones; ones alone.
    void (*and_words)(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words);
    uint64_t (*and_and_count_words)(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words);
    uint64_t (*count_words)(const uint64_t *words, size_t count);

    // The rows of the set bits below rows, a multiple of 64, found bit by bit and by bit scan; they return how many.
    size_t (*list_rows_bit_by_bit)(const uint64_t *words, uint32_t rows, uint32_t *out);
    size_t (*list_rows)(const uint64_t *words, uint32_t rows, uint32_t *out);

    // By width: codes of 1 to 20, 24, 32 and 64 bits, plain and null; fixed rows of 8 to 64 bits, plain and, above 8,
    // tz; rows of a lane of 16, 32 or 64 bits or less by their lengths, plain and tz.
    PlainScan (*code_scan)(uint32_t width_bits, Comparison comparison, PlainForm form);
    PlainScan (*fixed_scan)(uint32_t row_bits, Comparison comparison, PlainForm form);
    PlainScan (*dynp_scan)(uint32_t lane_bits, Comparison comparison, PlainForm form);

    // By width of 1 to 32 bits; elements of 8, 16 or 32 bits.
    PlainUnpack (*unpack)(uint32_t width_bits, uint32_t element_bits);
    PlainSetTest (*set_test)(uint32_t width_bits);
    PlainDecode (*decode)(uint32_t width_bits);
    PlainLookUp (*look_up)(uint32_t element_bits);

    // Lengths of 8 or 16 bits, or starts.
    PlainBurst (*burst)(uint32_t length_bits, bool by_starts);

    // A Bloom filter of so many bits, less one, flat or in partitions, probed with big-endian hashes of 32 bits: all
    // rows, a multiple of 64, and listed ones. All return the hits.
    uint32_t (*probe_filter)(const void *hashes, const void *filter, uint32_t mask, uint32_t rows, uint64_t *res_bv);
    uint32_t (*probe_partitions)(const void *hashes, const PlainPartitions &filter, uint32_t rows, uint64_t *res_bv);
    uint32_t (*probe_filter_rows)(const void *hashes, const void *filter, uint32_t mask, const uint32_t *rows,
                                  uint64_t count, uint64_t *res_bv);

    // Exactly as many bytes as the stream stands for go to the output.
    void (*decode_stream)(const PlainStream &stream, uint8_t *output, size_t bytes);
};

// As each compiler makes them: null where it is missing.
extern const PlainLoops gnu_plain_loops [[gnu::weak]], clang_plain_loops [[gnu::weak]];

// Those that there are.
std::vector<const PlainLoops *> plain_loops();
