// kernels.h: which kernels there are, what they are called and what a predicate answers, by their rules. Serves every
// class of encoding: a row's value reaches it as an unsigned integer, however it was stored.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "kdzk.h"
#include "reference/bit_vectors.h"

namespace reference {

struct Kernel {
    uint32_t kernel_class, width_bits, operation, form;
    bool operator==(const Kernel &) const = default;
};

inline std::vector<uint32_t> widths_up_to(uint32_t largest_bits) {
    std::vector<uint32_t> widths;
    for (uint32_t bits = 1; bits <= largest_bits; ++bits)
        if (bits <= 20 || bits == 24 || bits == 32 || bits == 64)
            widths.push_back(bits);
    return widths;
}

// The 740 of the finished library.
inline std::vector<Kernel> all_kernels() {
    struct Row {
        uint32_t kernel_class, first_operation, last_operation;
        std::vector<uint32_t> widths, forms;
    };
    const Row rows[] = {
        {KDZK_CLASS_FIXED, KDZK_OP_EQ, KDZK_OP_GE_LE, {8, 16, 32, 64}, {KDZK_FORM_PLAIN, KDZK_FORM_TZ}},
        {KDZK_CLASS_FIXED, KDZK_OP_SUM, KDZK_OP_SUM, {8, 16, 32, 64}, {KDZK_FORM_PLAIN}},
        {KDZK_CLASS_DICT, KDZK_OP_EQ, KDZK_OP_GE_LE, widths_up_to(64), {KDZK_FORM_PLAIN, KDZK_FORM_NULL}},
        {KDZK_CLASS_DICT, KDZK_OP_DECODE, KDZK_OP_SET, widths_up_to(32), {KDZK_FORM_PLAIN}},
        {KDZK_CLASS_DICT, KDZK_OP_SUM, KDZK_OP_DISTINCT, widths_up_to(32), {KDZK_FORM_PLAIN}},
        {KDZK_CLASS_DYNP, KDZK_OP_EQ, KDZK_OP_GE_LE, {16, 32, 64}, {KDZK_FORM_PLAIN, KDZK_FORM_TZ}},
        {KDZK_CLASS_RLE, KDZK_OP_BURST, KDZK_OP_BURST, {8, 16}, {KDZK_FORM_PLAIN, KDZK_FORM_CLA}},
    };
    std::vector<Kernel> kernels;
    for (const Row &row : rows)
        for (uint32_t operation = row.first_operation; operation <= row.last_operation; ++operation)
            for (const uint32_t width : row.widths)
                for (const uint32_t form : row.forms)
                    kernels.push_back({row.kernel_class, width, operation, form});
    return kernels;
}

inline uint32_t slot_of(const Kernel &kernel) {
    uint32_t index = static_cast<uint32_t>(widths_up_to(kernel.width_bits).size());
    if (kernel.form == KDZK_FORM_NULL || kernel.form == KDZK_FORM_TZ)
        index += 32;
    if (kernel.operation == KDZK_OP_BURST && kernel.form == KDZK_FORM_PLAIN)
        index -= 1;
    return (index - 1) * 128 + kernel.kernel_class * 32 + kernel.operation;
}

inline std::string name_of(const Kernel &kernel) {
    static const char *const kClasses[] = {"_fixed_", "_dict_", "_dynp_", "_rle_"};
    static const char *const kForms[] = {"", "_null", "_tz", "_cla"};
    // clang-format off
    static const char *const kOperations[] = {"eq", "lt", "gt", "le", "ge", "ne", "gt_lt", "gt_le", "ge_lt", "ge_le",
                                              "decode", "decode_unpack", "decode_symbol", "set", "burst",
                                              "sum", "distinct"};
    // clang-format on
    return std::string("kdzk_") + kOperations[kernel.operation] + kClasses[kernel.kernel_class]
           + std::to_string(kernel.width_bits) + "bit" + kForms[kernel.form];
}

inline void PrintTo(const Kernel &kernel, std::ostream *out) { *out << name_of(kernel); }

inline bool is_stub(const Kernel &kernel) { return kernel.operation >= KDZK_OP_SUM; }
inline bool is_predicate(const Kernel &kernel) { return kernel.operation <= KDZK_OP_GE_LE; }
inline bool is_range(const Kernel &kernel) { return is_predicate(kernel) && kernel.operation >= KDZK_OP_GT_LT; }

// The kernel whose name stands in labels and messages. Odd on purpose: the selective body of a range operator goes by
// the lower operator alone.
inline Kernel named_in_texts(Kernel kernel, bool selective_body) {
    if (selective_body && is_range(kernel))
        kernel.operation = kernel.operation <= KDZK_OP_GT_LE ? KDZK_OP_GT : KDZK_OP_GE;
    return kernel;
}

// Codes in a payload: a stream of bits without gaps, the first bit of a byte and of a code being the highest.
inline uint64_t largest_code(uint32_t width_bits) { return ~uint64_t{0} >> (64 - width_bits); }

inline uint64_t read_code(const uint8_t *payload, uint32_t width_bits, uint64_t row) {
    uint64_t code = 0;
    for (uint64_t bit = row * width_bits; bit < (row + 1) * width_bits; ++bit)
        code = code * 2 + (payload[bit / 8] >> (7 - bit % 8) & 1);
    return code;
}

inline std::vector<uint8_t> write_codes(const std::vector<uint64_t> &codes, uint32_t width_bits) {
    std::vector<uint8_t> payload((codes.size() * width_bits + 7) / 8);
    for (uint64_t bit = 0; bit < codes.size() * width_bits; ++bit)
        if ((codes[bit / width_bits] >> (width_bits - 1 - bit % width_bits) & 1) != 0)
            put_bit(payload.data(), bit / 8 * 8 + 7 - bit % 8, true);
    return payload;
}

// What a kernel may read behind its payload, and what it reads of a key, in bytes.
inline bool fills_elements(uint32_t bits) { return bits == 8 || bits == 16 || bits == 32 || bits == 64; }
inline size_t payload_slack(uint32_t width_bits) { return fills_elements(width_bits) ? 0 : 8; }
inline size_t key_bytes(uint32_t width_bits) { return fills_elements(width_bits) ? width_bits / 8 : 4; }

template <class Value>
struct KeyPair {
    Value lower;  // the only key of an operator that isn't a range
    Value upper;
};
using Keys = KeyPair<uint64_t>;

template <class Value>
bool compares(const Kernel &kernel, const Value &value, const KeyPair<Value> &keys) {
    const auto &[lower, upper] = keys;
    const bool by_operation[] = {
        value == lower,
        (value < lower),
        (value > lower),
        value <= lower,
        value >= lower,
        value != lower,
        lower < value && value < upper,
        lower < value && value <= upper,
        lower <= value && value < upper,
        lower <= value && value <= upper,
    };
    return by_operation[kernel.operation];
}

inline bool hits(const Kernel &kernel, uint64_t value, Keys keys) {
    return compares(kernel, value, keys) && !(kernel.form == KDZK_FORM_NULL && value == 0);
}

// The main bodies at 1 bit test no row: the keys, codes or not, decide what becomes of the codes as a bit vector. Bit c
// is the answer for code c. The complement is that of whole words, with ones above the last row.
enum Decision { nothing = 0, complement = 1, codes = 2, everything = 3 };

inline Decision decision_at_1_bit(const Kernel &kernel, Keys keys) {
    const bool is_null_form = kernel.form == KDZK_FORM_NULL;
    const bool zero = keys.lower == 0, zero_to_one = zero && keys.upper == 1;
    const bool only_zero = zero && keys.upper == 0, only_one = keys.lower == 1 && keys.upper == 1;
    const Decision zeros = is_null_form ? nothing : complement, all = is_null_form ? codes : everything;
    const Decision by_operation[] = {
        zero ? zeros : codes,
        zero ? nothing : zeros,
        zero ? codes : nothing,
        zero ? zeros : all,
        zero ? all : codes,
        is_null_form ? (zero ? codes : nothing) : (keys.lower == 1 ? zeros : codes),
        nothing,
        zero_to_one ? codes : nothing,
        zero_to_one ? zeros : nothing,
        zero_to_one ? all : (only_zero ? zeros : (only_one ? codes : nothing)),
    };
    return by_operation[kernel.operation];
}

struct Masks {
    const uint64_t *filter, *selection;
    bool selective;  // takes effect with a selection alone
};

struct Answer {
    std::vector<uint64_t> words;
    uint32_t hit_count;
    uint64_t status;
    bool reads_codes;  // otherwise the payload isn't looked at
};

// passes(row) may be asked about rows up to the end of the last word.
template <class Passes>
Answer masked_answer(size_t rows, Masks masks, Passes passes) {
    Answer answer{std::vector<uint64_t>((rows + 63) / 64), 0, KDZK_STATUS_NO_HIT, true};
    for (size_t row = 0; row < answer.words.size() * 64; ++row) {
        const bool wanted =
            (!masks.filter || bit_at(masks.filter, row)) && (!masks.selection || bit_at(masks.selection, row));
        if (!wanted || !passes(row))
            continue;
        put_bit(answer.words.data(), row, true);
        answer.hit_count += row < rows ? 1 : 0;
    }
    answer.status = answer.hit_count != 0 ? KDZK_STATUS_OK : KDZK_STATUS_NO_HIT;
    return answer;
}

inline Answer predicate(const Kernel &kernel, const std::vector<uint64_t> &values, Keys keys, Masks masks) {
    const bool decides = kernel.width_bits == 1 && !(masks.selective && masks.selection);
    const Decision decision = decision_at_1_bit(kernel, keys);
    if (decides && kernel.form == KDZK_FORM_NULL)
        masks.filter = nullptr;  // odd on purpose
    Answer answer = masked_answer(values.size(), masks, [&](size_t row) {
        if (row >= values.size())
            return decides && decision == complement;
        return decides ? (decision >> values[row] & 1) != 0 : hits(kernel, values[row], keys);
    });
    answer.reads_codes = !decides || decision == codes || decision == complement;
    return answer;
}

}  // namespace reference
