#include "plain_loops.h"

#include <bit>
#include <cstring>
#include <type_traits>
#include <utility>

namespace {

template <typename T>
T load(const void *at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <typename T>
T load_be(const uint8_t *at) {
    const T value = load<T>(at);
    if constexpr (sizeof value == 1)
        return value;
    else if constexpr (sizeof value == 2)
        return __builtin_bswap16(value);
    else if constexpr (sizeof value == 4)
        return __builtin_bswap32(value);
    else
        return __builtin_bswap64(value);
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

// Calls visit(place) for each one among words of 64 bits.
template <typename Visit>
void for_each_one(const uint64_t *words, size_t count, Visit visit) {
    for (size_t at = 0; at < count; ++at)
        for (uint64_t word = words[at]; word != 0; word &= word - 1)
            visit(uint32_t(at * 64) + uint32_t(std::countr_zero(word)));
}

size_t list_rows(const uint64_t *words, uint32_t rows, uint32_t *out) {
    size_t listed = 0;
    for_each_one(words, rows / 64, [&](uint32_t row) { out[listed++] = row; });
    return listed;
}

// The smallest integer that holds so many bits: the narrower, the more of them in a vector.
template <uint32_t kBits>
using Integer =
    std::conditional_t<kBits <= 8, uint8_t,
                       std::conditional_t<kBits <= 16, uint16_t, std::conditional_t<kBits <= 32, uint32_t, uint64_t>>>;

template <uint32_t kWidth>
Integer<kWidth> code_at(const uint8_t *payload, uint64_t row) {
    using Code = Integer<kWidth>;
    if constexpr (kWidth == 8 * sizeof(Code))
        return load_be<Code>(payload + row * sizeof(Code));
    else
        return Code(load_be<uint64_t>(payload + row * kWidth / 8) << row * kWidth % 8 >> (64 - kWidth));  // to 57 bits
}

template <Comparison comparison, typename Code>
bool passes(Code code, Code lower, Code upper) {
    if constexpr (comparison == Comparison::equality)
        return code == lower;
    else if constexpr (comparison == Comparison::one_bound)
        return code < lower;
    else
        return (lower <= code) & (code <= upper);
}

template <Comparison comparison, typename Code>
bool passes(Code code, uint32_t field, Code lower, Code upper, uint32_t lower_field, uint32_t upper_field) {
    const auto is_below = [](Code a, uint32_t a_field, Code b, uint32_t b_field) {
        return (a < b) | ((a == b) & (a_field < b_field));
    };
    if constexpr (comparison == Comparison::equality)
        return (code == lower) & (field == lower_field);
    else if constexpr (comparison == Comparison::one_bound)
        return is_below(code, field, lower, lower_field);
    else
        return !is_below(code, field, lower, lower_field) && !is_below(upper, upper_field, code, field);
}

// The length field of a row in a lane of so many bits.
template <uint32_t kLane>
uint32_t field_at(const uint8_t *lens, uint64_t row) {
    constexpr uint32_t field_bits = kLane / 16, rows_a_byte = 8 / field_bits;
    return lens[row / rows_a_byte] >> (8 - field_bits - row % rows_a_byte * field_bits) & ((1u << field_bits) - 1);
}

// A row of so many bits.
template <uint32_t kWidth>
struct EvenRow {
    const uint8_t *payload, *lens;
    explicit EvenRow(const PlainRows &rows) : payload(rows.payload), lens(rows.lens) {}
    Integer<kWidth> next(uint64_t row) const { return code_at<kWidth>(payload, row); }
    uint32_t field(uint64_t row) const { return field_at<8 * sizeof(Integer<kWidth>)>(lens, row); }
};

// A row of a lane's bytes or fewer, by its field: a load and two shifts, without a branch on its length.
template <uint32_t kLane>
struct DynpRow {
    const uint8_t *at, *lens;
    explicit DynpRow(const PlainRows &rows) : at(rows.payload), lens(rows.lens) {}
    Integer<kLane> next(uint64_t row) {
        const size_t bytes = field(row) + 1;
        const uint64_t first_bytes = load_be<uint64_t>(at) >> (64 - 8 * bytes);
        at += bytes;
        return Integer<kLane>(first_bytes << (kLane - 8 * bytes));
    }
    uint32_t field(uint64_t row) const { return field_at<kLane>(lens, row); }
};

// Gathers the bits that test(row) gives, word by word; returns how many are set. First a byte a row, which compilers
// make vectors of where they can, then a multiplication moves eight bytes' bits together.
template <typename Test>
uint32_t gather_bits(uint32_t rows, uint64_t *res_bv, Test test) {
    uint32_t hits = 0;
    for (uint64_t first = 0; first < rows; first += 64) {
        uint8_t passed[64];
        for (uint32_t i = 0; i < 64; ++i)
            passed[i] = test(first + i);
        uint64_t bits = 0;
        for (uint32_t byte = 0; byte < 8; ++byte)
            bits |= load<uint64_t>(passed + 8 * byte) * 0x0102040810204080u >> 56 << 8 * byte;
        res_bv[first / 64] = bits;
        hits += uint32_t(std::popcount(bits));
    }
    return hits;
}

template <typename Row, Comparison comparison, PlainForm form>
uint32_t scan_rows(const PlainRows &rows, const PlainKeys &keys, uint64_t *res_bv) {
    Row row(rows);
    using Code = decltype(row.next(0));
    const Code lower = Code(keys.lower), upper = Code(keys.upper);
    const auto test = [=, &row](uint64_t at) -> bool {
        const Code code = row.next(at);
        if constexpr (form == PlainForm::tz)
            return passes<comparison>(code, row.field(at), lower, upper, keys.lower_field, keys.upper_field);
        else
            return passes<comparison>(code, lower, upper) & (form == PlainForm::plain || code != 0);
    };
    return gather_bits(rows.count, res_bv, test);
}

// Codes of one bit are words already, the bits of their bytes the other way round.
template <Comparison comparison, PlainForm form>
uint32_t scan_bits(const PlainRows &rows, const PlainKeys &keys, uint64_t *res_bv) {
    const auto all_if = [&](uint64_t code) {
        return passes<comparison>(code, keys.lower, keys.upper) ? ~uint64_t{0} : 0;
    };
    const uint64_t of_ones = all_if(1), of_zeros = form == PlainForm::plain ? all_if(0) : 0;
    uint32_t hits = 0;
    for (uint64_t at = 0; at < rows.count / 64; ++at) {
        uint64_t word = load<uint64_t>(rows.payload + 8 * at);
        word = (word & 0x5555555555555555) << 1 | (word >> 1 & 0x5555555555555555);
        word = (word & 0x3333333333333333) << 2 | (word >> 2 & 0x3333333333333333);
        word = (word & 0x0F0F0F0F0F0F0F0F) << 4 | (word >> 4 & 0x0F0F0F0F0F0F0F0F);
        res_bv[at] = (word & of_ones) | (~word & of_zeros);
        hits += uint32_t(std::popcount(res_bv[at]));
    }
    return hits;
}

template <uint32_t kWidth>
uint32_t test_codes(const PlainRows &rows, const uint64_t *set, uint64_t *res_bv) {
    return gather_bits(rows.count, res_bv, [&](uint64_t at) {
        const uint64_t code = code_at<kWidth>(rows.payload, at);
        return (set[code / 64] >> code % 64 & 1) != 0;
    });
}

template <uint32_t kWidth, typename Element>
void unpack_codes(const PlainRows &rows, void *to) {
    const uint8_t *__restrict from = rows.payload;
    Element *__restrict element = static_cast<Element *>(to);
    for (uint32_t row = 0; row < rows.count; ++row)
        element[row] = Element(code_at<kWidth>(from, row));
}

// code_of(at): the code of the row that comes to that place.
template <typename CodeOf>
void look_up_symbols(uint32_t count, CodeOf code_of, const PlainDictionary &dictionary, const PlainSymbols &to) {
    uint64_t *__restrict addresses = to.addresses;
    uint16_t *__restrict lengths = to.lengths, *__restrict flags = to.flags;
    const uint64_t symbols = dictionary.symbols;
    const auto flag_of = [](uint32_t length) { return uint16_t(length == 0 ? 2 : 0); };
    if (const uint8_t *const offsets = dictionary.offsets_be) {
        for (uint32_t at = 0; at < count; ++at) {
            const uint8_t *const entry = offsets + 4 * size_t{code_of(at)};
            const uint32_t offset = load_be<uint32_t>(entry), length = load_be<uint32_t>(entry + 4) - offset;
            addresses[at] = symbols + offset;
            lengths[at] = uint16_t(length);
            flags[at] = flag_of(length);
        }
    } else {
        const uint32_t length = dictionary.length;
        for (uint32_t at = 0; at < count; ++at) {
            addresses[at] = symbols + uint32_t(code_of(at) * length);
            lengths[at] = uint16_t(length);
            flags[at] = flag_of(length);
        }
    }
}

template <uint32_t kWidth>
void decode_rows(const PlainRows &rows, const uint32_t *list, const PlainDictionary &dictionary,
                 const PlainSymbols &to) {
    const auto code_of = [=, payload = rows.payload](uint32_t at) -> uint32_t {
        return code_at<kWidth>(payload, list[at]);
    };
    look_up_symbols(rows.count, code_of, dictionary, to);
}

template <typename Element>
void look_up_codes(const void *codes, uint32_t count, const PlainDictionary &dictionary, const PlainSymbols &to) {
    const auto *const __restrict elements = static_cast<const Element *>(codes);
    look_up_symbols(
        count, [=](uint32_t at) -> uint32_t { return elements[at]; }, dictionary, to);
}

// Whole words, but for the first and the last.
void set_rows(uint64_t *res_bv, uint64_t first, uint64_t end) {
    if (first == end)
        return;
    const uint64_t from = ~uint64_t{0} << first % 64, to = ~uint64_t{0} >> (63 - (end - 1) % 64);
    const uint64_t first_word = first / 64, last_word = (end - 1) / 64;
    if (first_word == last_word) {
        res_bv[first_word] |= from & to;
        return;
    }
    res_bv[first_word] |= from;
    for (uint64_t word = first_word + 1; word < last_word; ++word)
        res_bv[word] = ~uint64_t{0};
    res_bv[last_word] |= to;
}

template <typename Length>
uint32_t burst_by_lengths(const uint8_t *runs, uint32_t count, const uint64_t *wanted, uint64_t *res_bv) {
    uint32_t start = 0, rows = 0;
    for (uint32_t run = 0; run < count; ++run) {
        const uint32_t length = load_be<Length>(runs + run * sizeof(Length));
        if (wanted[run / 64] >> run % 64 & 1) {
            set_rows(res_bv, start, start + length);
            rows += length;
        }
        start += length;
    }
    return rows;
}

uint32_t burst_by_starts(const uint8_t *runs, uint32_t count, const uint64_t *wanted, uint64_t *res_bv) {
    uint32_t rows = 0;
    for_each_one(wanted, (count + 63) / 64, [&](uint32_t run) {
        const uint32_t start = load_be<uint32_t>(runs + 4 * size_t{run});
        const uint32_t end = load_be<uint32_t>(runs + 4 * size_t{run} + 4);
        set_rows(res_bv, start, end);
        rows += end - start;
    });
    return rows;
}

bool probe(const uint8_t *filter, uint32_t bit) { return filter[bit / 8] >> bit % 8 & 1; }

uint32_t probe_filter(const void *hashes, const void *filter, uint32_t mask, uint32_t rows, uint64_t *res_bv) {
    const auto *const elements = static_cast<const uint8_t *>(hashes), *const bits =
                                                                           static_cast<const uint8_t *>(filter);
    return gather_bits(rows, res_bv,
                       [=](uint64_t row) { return probe(bits, load_be<uint32_t>(elements + 4 * row) & mask); });
}

uint32_t probe_partitions(const void *hashes, const PlainPartitions &filter, uint32_t rows, uint64_t *res_bv) {
    const auto *const elements = static_cast<const uint8_t *>(hashes);
    return gather_bits(rows, res_bv, [=](uint64_t row) {
        const uint32_t hash = load_be<uint32_t>(elements + 4 * row) & filter.mask;
        return probe(filter.partitions[hash >> filter.shift], hash & filter.part_mask);
    });
}

uint32_t probe_filter_rows(const void *hashes, const void *filter, uint32_t mask, const uint32_t *rows, uint64_t count,
                           uint64_t *res_bv) {
    const auto *const elements = static_cast<const uint8_t *>(hashes), *const bits =
                                                                           static_cast<const uint8_t *>(filter);
    uint32_t hits = 0;
    for (uint64_t i = 0; i < count; ++i) {
        const uint32_t row = rows[i];
        if (probe(bits, load_be<uint32_t>(elements + 4 * size_t{row}) & mask)) {
            res_bv[row / 64] |= uint64_t{1} << row % 64;
            ++hits;
        }
    }
    return hits;
}

// Eight bytes a symbol as long as there is room for them.
void decode_stream(const PlainStream &stream, uint8_t *output, size_t bytes) {
    const uint8_t *const end = output + bytes;
    for (uint64_t code = 0; code < stream.code_count; ++code) {
        const uint64_t bit = code * stream.code_bits;
        const uint64_t index = load_be<uint64_t>(stream.codes + bit / 8) << bit % 8 >> (64 - stream.code_bits);
        if (end - output >= 8)
            std::memcpy(output, stream.symbols + index, 8);
        else
            std::memcpy(output, stream.symbols + index, size_t(end - output));
        output += stream.lengths[index];
    }
}

template <uint32_t... width>
using Widths = std::integer_sequence<uint32_t, width...>;
using CodesAboveABit = Widths<2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32, 64>;
using CodesOfIntegers = Widths<1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32>;

// What find gives for one of these widths.
template <uint32_t... width, typename Find>
auto for_width(uint32_t wanted, Widths<width...>, Find find) {
    decltype(find.template operator()<16>()) found = nullptr;
    ((wanted == width ? void(found = find.template operator()<width>()) : void()), ...);
    return found;
}

// What find gives for a comparison in its plain form or in the other one that there is.
template <PlainForm kOther, typename Find>
PlainScan for_predicate(Comparison comparison, PlainForm form, Find find) {
    const auto for_form = [&]<Comparison kComparison>() -> PlainScan {
        return form == PlainForm::plain ? find.template operator()<kComparison, PlainForm::plain>()
                                        : find.template operator()<kComparison, kOther>();
    };
    return comparison == Comparison::equality    ? for_form.template operator()<Comparison::equality>()
           : comparison == Comparison::one_bound ? for_form.template operator()<Comparison::one_bound>()
                                                 : for_form.template operator()<Comparison::two_bounds>();
}

template <typename Row, PlainForm kOther>
PlainScan scan_of(Comparison comparison, PlainForm form) {
    return for_predicate<kOther>(comparison, form, []<Comparison kComparison, PlainForm kForm>() -> PlainScan {
        return scan_rows<Row, kComparison, kForm>;
    });
}

PlainScan code_scan(uint32_t width_bits, Comparison comparison, PlainForm form) {
    if (width_bits == 1)
        return for_predicate<PlainForm::null>(
            comparison, form,
            []<Comparison kComparison, PlainForm kForm>() -> PlainScan { return scan_bits<kComparison, kForm>; });
    return for_width(width_bits, CodesAboveABit(),
                     [=]<uint32_t kWidth>() { return scan_of<EvenRow<kWidth>, PlainForm::null>(comparison, form); });
}

PlainScan fixed_scan(uint32_t row_bits, Comparison comparison, PlainForm form) {
    return for_width(row_bits, Widths<8, 16, 24, 32, 40, 48, 56, 64>(), [=]<uint32_t kWidth>() {
        return scan_of < EvenRow<kWidth>, kWidth == 8 ? PlainForm::plain : PlainForm::tz > (comparison, form);
    });
}

PlainScan dynp_scan(uint32_t lane_bits, Comparison comparison, PlainForm form) {
    return for_width(lane_bits, Widths<16, 32, 64>(),
                     [=]<uint32_t kLane>() { return scan_of<DynpRow<kLane>, PlainForm::tz>(comparison, form); });
}

PlainUnpack unpack(uint32_t width_bits, uint32_t element_bits) {
    return for_width(width_bits, CodesOfIntegers(), [=]<uint32_t kWidth>() -> PlainUnpack {
        return element_bits == 8    ? unpack_codes<kWidth, uint8_t>
               : element_bits == 16 ? unpack_codes<kWidth, uint16_t>
                                    : unpack_codes<kWidth, uint32_t>;
    });
}

PlainSetTest set_test(uint32_t width_bits) {
    return for_width(width_bits, CodesOfIntegers(),
                     []<uint32_t kWidth>() -> PlainSetTest { return test_codes<kWidth>; });
}

PlainDecode decode(uint32_t width_bits) {
    return for_width(width_bits, CodesOfIntegers(),
                     []<uint32_t kWidth>() -> PlainDecode { return decode_rows<kWidth>; });
}

PlainLookUp look_up(uint32_t element_bits) {
    return element_bits == 8    ? look_up_codes<uint8_t>
           : element_bits == 16 ? look_up_codes<uint16_t>
                                : look_up_codes<uint32_t>;
}

PlainBurst burst(uint32_t length_bits, bool by_starts) {
    return by_starts ? burst_by_starts : length_bits == 8 ? burst_by_lengths<uint8_t> : burst_by_lengths<uint16_t>;
}

}  // namespace

#ifdef __clang__
const PlainLoops clang_plain_loops = {
    .compiler = "clang",
#else
const PlainLoops gnu_plain_loops = {
    .compiler = "gcc",
#endif
    .and_words = and_words,
    .and_and_count_words = and_and_count_words,
    .count_words = count_words,
    .list_rows_bit_by_bit = list_rows_bit_by_bit,
    .list_rows = list_rows,
    .code_scan = code_scan,
    .fixed_scan = fixed_scan,
    .dynp_scan = dynp_scan,
    .unpack = unpack,
    .set_test = set_test,
    .decode = decode,
    .look_up = look_up,
    .burst = burst,
    .probe_filter = probe_filter,
    .probe_partitions = probe_partitions,
    .probe_filter_rows = probe_filter_rows,
    .decode_stream = decode_stream,
};
