#include "memory_loops.h"

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

uint64_t read_all(const void *from, size_t bytes) {
    const __m128i *at = static_cast<const __m128i *>(from), *end = at + bytes / sizeof(__m128i);
    __m128i sums[8] = {};
    for (; at != end; at += 8)
#pragma GCC unroll 8
        for (int i = 0; i < 8; ++i)
            sums[i] = _mm_or_si128(sums[i], _mm_loadu_si128(at + i));
    for (int i = 1; i < 8; ++i)
        sums[0] = _mm_or_si128(sums[0], sums[i]);
    return uint64_t(_mm_cvtsi128_si64(sums[0]));
}

void and_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words) {
    for (size_t i = 0; i < words; ++i)
        dst[i] = a[i] & b[i];
}

uint64_t and_and_count_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, size_t words) {
    uint64_t ones = 0;
    for (size_t i = 0; i < words; ++i)
        ones += uint64_t(std::popcount(dst[i] = a[i] & b[i]));
    return ones;
}

uint64_t count_words(const uint64_t *words, size_t count) {
    uint64_t ones = 0;
    for (size_t i = 0; i < count; ++i)
        ones += uint64_t(std::popcount(words[i]));
    return ones;
}

size_t list_rows_bit_by_bit(const uint64_t *words, uint32_t rows, uint32_t *out) {
    size_t listed = 0;
    for (uint32_t row = 0; row < rows; ++row)
        if (words[row / 64] >> row % 64 & 1)
            out[listed++] = row;
    return listed;
}

namespace {

template <typename T>
T load_swapped(const uint8_t *at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    if constexpr (sizeof value == 2)
        return __builtin_bswap16(value);
    else if constexpr (sizeof value == 4)
        return __builtin_bswap32(value);
    else
        return __builtin_bswap64(value);
}

template <uint32_t kWidth>
uint64_t code_at(const uint8_t *payload, uint64_t row) {
    if constexpr (kWidth == 8)
        return payload[row];
    else if constexpr (kWidth == 16)
        return load_swapped<uint16_t>(payload + row * 2);
    else if constexpr (kWidth == 32)
        return load_swapped<uint32_t>(payload + row * 4);
    else if constexpr (kWidth == 64)
        return load_swapped<uint64_t>(payload + row * 8);
    else
        return load_swapped<uint64_t>(payload + row * kWidth / 8) << row * kWidth % 8 >> (64 - kWidth);  // to 57 bits
}

template <Comparison comparison>
bool passes(uint64_t code, uint64_t lower, uint64_t upper) {
    if constexpr (comparison == Comparison::equality)
        return code == lower;
    else if constexpr (comparison == Comparison::one_bound)
        return code < lower;
    else
        return (lower <= code) & (code <= upper);
}

// A row of so many bits.
template <uint32_t kWidth>
struct EvenRow {
    const uint8_t *payload;
    explicit EvenRow(const PlainRows &rows) : payload(rows.payload) {}
    uint64_t next(uint64_t row) const { return code_at<kWidth>(payload, row); }
};

// A row of a lane's bytes or fewer, by its field: a load and two shifts, without a branch on its length.
template <uint32_t kWidth>
struct DynpRow {
    const uint8_t *at, *lens;
    explicit DynpRow(const PlainRows &rows) : at(rows.payload), lens(rows.lens) {}
    uint64_t next(uint64_t row) {
        constexpr uint32_t field_bits = kWidth / 16, rows_a_byte = 8 / field_bits;
        const uint32_t place = 8 - field_bits - row % rows_a_byte * field_bits;
        const size_t bytes = (lens[row / rows_a_byte] >> place & ((1u << field_bits) - 1)) + 1;
        const uint64_t first_bytes = load_swapped<uint64_t>(at) >> (64 - 8 * bytes);
        at += bytes;
        return first_bytes << (kWidth - 8 * bytes);
    }
};

// Gathers the bits that test(row) gives, word by word; returns how many are set.
template <typename Test>
uint32_t gather_bits(const PlainRows &rows, uint64_t *res_bv, Test test) {
    uint32_t hits = 0;
    for (uint32_t first = 0; first < rows.count; first += 64) {
        const uint32_t in_word = std::min(64u, rows.count - first);
        uint64_t bits = 0;
        for (uint32_t i = 0; i < in_word; ++i)
            bits |= uint64_t{test(first + i)} << i;
        res_bv[first / 64] = bits;
        hits += uint32_t(std::popcount(bits));
    }
    return hits;
}

template <typename Row, Comparison comparison>
uint32_t scan_plainly(const PlainRows &rows, uint64_t lower, uint64_t upper, uint64_t *res_bv) {
    Row row(rows);
    return gather_bits(rows, res_bv, [&](uint64_t at) { return passes<comparison>(row.next(at), lower, upper); });
}

template <uint32_t kWidth>
uint32_t test_set_plainly(const PlainRows &rows, const uint64_t *set, uint64_t *res_bv) {
    return gather_bits(rows, res_bv, [&](uint64_t at) {
        const uint64_t code = code_at<kWidth>(rows.payload, at);
        return (set[code / 64] >> code % 64 & 1) != 0;
    });
}

template <uint32_t kWidth, typename Element>
void unpack_plainly(const PlainRows &rows, uint8_t *to) {
    for (uint32_t row = 0; row < rows.count; ++row) {
        const Element code = Element(code_at<kWidth>(rows.payload, row));
        std::memcpy(to + row * sizeof code, &code, sizeof code);
    }
}

template <template <uint32_t> typename Row, Comparison comparison, uint32_t... width>
PlainScan find_scan(uint32_t wanted, std::integer_sequence<uint32_t, width...>) {
    PlainScan found = nullptr;
    ((wanted == width ? void(found = scan_plainly<Row<width>, comparison>) : void()), ...);
    return found;
}

template <template <uint32_t> typename Row, typename Widths>
PlainScan find_scan(uint32_t width_bits, Comparison comparison, Widths widths) {
    switch (comparison) {
    case Comparison::equality:
        return find_scan<Row, Comparison::equality>(width_bits, widths);
    case Comparison::one_bound:
        return find_scan<Row, Comparison::one_bound>(width_bits, widths);
    case Comparison::two_bounds:
        break;
    }
    return find_scan<Row, Comparison::two_bounds>(width_bits, widths);
}

template <uint32_t... less>
std::integer_sequence<uint32_t, (less + 1)...> from_one(std::integer_sequence<uint32_t, less...>) {
    return {};
}

}  // namespace

PlainScan plain_scan(uint32_t width_bits, Comparison comparison) {
    return find_scan<EvenRow>(width_bits, comparison, from_one(std::make_integer_sequence<uint32_t, 64>()));
}

PlainScan plain_dynp_scan(uint32_t lane_bits, Comparison comparison) {
    return find_scan<DynpRow>(lane_bits, comparison, std::integer_sequence<uint32_t, 16, 32, 64>());
}

PlainUnpack plain_unpack(uint32_t width_bits, uint32_t element_bits) {
    return [&]<uint32_t... less>(std::integer_sequence<uint32_t, less...>) {
        PlainUnpack found = nullptr;
        ((less + 1 == width_bits ? void(found = element_bits == 8    ? unpack_plainly<less + 1, uint8_t>
                                                : element_bits == 16 ? unpack_plainly<less + 1, uint16_t>
                                                                     : unpack_plainly<less + 1, uint32_t>)
                                 : void()),
         ...);
        return found;
    }
    (std::make_integer_sequence<uint32_t, 32>());
}

PlainSetTest plain_set_test(uint32_t width_bits) {
    return [&]<uint32_t... less>(std::integer_sequence<uint32_t, less...>) {
        PlainSetTest found = nullptr;
        ((less + 1 == width_bits ? void(found = test_set_plainly<less + 1>) : void()), ...);
        return found;
    }
    (std::make_integer_sequence<uint32_t, 32>());
}

uint32_t probe_filter(const void *hashes, const void *filter, uint32_t mask, uint32_t rows, uint64_t *res_bv) {
    const auto *const elements = static_cast<const uint8_t *>(hashes), *const bytes =
                                                                           static_cast<const uint8_t *>(filter);
    uint32_t hits = 0;
    for (uint32_t row = 0; row < rows; row += 64) {
        uint64_t word = 0;
        for (uint32_t i = 0; i < 64; ++i) {
            const uint32_t bit = load_swapped<uint32_t>(elements + 4 * size_t{row + i}) & mask;
            word |= uint64_t{bytes[bit / 8] >> bit % 8 & 1u} << i;
        }
        res_bv[row / 64] = word;
        hits += uint32_t(std::popcount(word));
    }
    return hits;
}

uint32_t probe_filter_rows(const void *hashes, const void *filter, uint32_t mask, const uint32_t *rows, uint64_t count,
                           uint64_t *res_bv) {
    const auto *const elements = static_cast<const uint8_t *>(hashes), *const bytes =
                                                                           static_cast<const uint8_t *>(filter);
    uint32_t hits = 0;
    for (uint64_t i = 0; i < count; ++i) {
        const uint32_t row = rows[i], bit = load_swapped<uint32_t>(elements + 4 * size_t{row}) & mask;
        if (bytes[bit / 8] >> bit % 8 & 1) {
            res_bv[row / 64] |= uint64_t{1} << row % 64;
            ++hits;
        }
    }
    return hits;
}

uint64_t dependent_adds(uint64_t count) {
    uint64_t sum = 1;
    for (uint64_t i = 0; i < count; i += 16)
#pragma GCC unroll 16
        for (int step = 0; step < 16; ++step)
            __asm__ volatile("addq %0, %0" : "+r"(sum));  // of registers: some processors fold constants away
    return sum;
}
