// catalog.h: what kernels there can be. Classes, operations and forms with their names, and from them the name and the
// slot of a kernel. Constants only: no intrinsics, no payload.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "frame/platform.h"

namespace kdzk {

enum class KernelClass : uint8_t {
    fixed = KDZK_CLASS_FIXED,
    dict = KDZK_CLASS_DICT,
    dynp = KDZK_CLASS_DYNP,
    rle = KDZK_CLASS_RLE,
};
inline constexpr std::string_view kClassNames[] = {"fixed", "dict", "dynp", "rle"};

enum class Operation : uint8_t {
    eq = KDZK_OP_EQ,
    lt = KDZK_OP_LT,
    gt = KDZK_OP_GT,
    le = KDZK_OP_LE,
    ge = KDZK_OP_GE,
    ne = KDZK_OP_NE,
    gt_lt = KDZK_OP_GT_LT,
    gt_le = KDZK_OP_GT_LE,
    ge_lt = KDZK_OP_GE_LT,
    ge_le = KDZK_OP_GE_LE,
    decode = KDZK_OP_DECODE,
    decode_unpack = KDZK_OP_DECODE_UNPACK,
    decode_symbol = KDZK_OP_DECODE_SYMBOL,
    set = KDZK_OP_SET,
    burst = KDZK_OP_BURST,
    sum = KDZK_OP_SUM,
    distinct = KDZK_OP_DISTINCT,
};
inline constexpr std::string_view kOperationNames[] = {
    "eq",
    "lt",
    "gt",
    "le",
    "ge",
    "ne",
    "gt_lt",
    "gt_le",
    "ge_lt",
    "ge_le",
    "decode",
    "decode_unpack",
    "decode_symbol",
    "set",
    "burst",
    "sum",
    "distinct",
};
static_assert(std::size(kOperationNames) == size_t(Operation::distinct) + 1);

enum class Form : uint8_t {
    plain = KDZK_FORM_PLAIN,
    null = KDZK_FORM_NULL,
    tz = KDZK_FORM_TZ,
    cla = KDZK_FORM_CLA,
};
inline constexpr std::string_view kFormSuffixes[] = {"", "_null", "_tz", "_cla"};

// One kernel: a template argument where code is instantiated for it, a key where tables are built.
struct KernelId {
    KernelClass kernel_class;
    uint8_t width_bits;
    Operation operation;
    Form form;
};

constexpr uint32_t slot_of(KernelId id) {
    return kdzk_slot(uint32_t(id.kernel_class), id.width_bits, uint32_t(id.operation), uint32_t(id.form));
}

// Whether there are kernels of a width: it has a row of the table.
constexpr bool is_width(uint32_t width_bits) {
    return kdzk_slot(KDZK_CLASS_DICT, width_bits, 0, KDZK_FORM_PLAIN)
           != kdzk_slot(KDZK_CLASS_DICT, 0, 0, KDZK_FORM_PLAIN);
}
static_assert(is_width(1) && is_width(20) && !is_width(21) && is_width(24) && is_width(64) && !is_width(65));

// Text of bounded length that can be built in a constant expression.
struct ShortText {
    static constexpr size_t kCapacity = 96;
    char chars[kCapacity]{};
    size_t length = 0;

    constexpr ShortText &append(std::string_view more) {
        for (const char c : more)
            chars[length++] = c;
        return *this;
    }
    constexpr operator std::string_view() const { return {chars, length}; }
};

// Of a number below 100, as widths are.
constexpr ShortText decimal(uint32_t number) {
    ShortText text;
    for (uint32_t unit = number < 10 ? 1 : 10; unit > 0; unit /= 10)
        text.chars[text.length++] = char('0' + number / unit % 10);
    return text;
}

// "kdzk_", operation, class, width, "bit" and the form's suffix, as in kdzk_ge_le_dict_24bit_null.
constexpr ShortText name_of(KernelId id) {
    ShortText name;
    name.append("kdzk_").append(kOperationNames[size_t(id.operation)]).append("_");
    name.append(kClassNames[size_t(id.kernel_class)]).append("_").append(decimal(id.width_bits)).append("bit");
    return name.append(kFormSuffixes[size_t(id.form)]);
}

static_assert(slot_of({KernelClass::dict, 1, Operation::eq, Form::plain}) == 32);
static_assert(slot_of({KernelClass::dynp, 16, Operation::le, Form::tz}) == 6083);
static_assert(std::string_view(name_of({KernelClass::dynp, 16, Operation::le, Form::tz})) == "kdzk_le_dynp_16bit_tz");

}  // namespace kdzk
