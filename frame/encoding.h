// encoding.h: what the frame asks of an encoding: what it is called, how it reads its keys, how a block of rows becomes
// result words, how one row's value is read.
#pragma once

#include <concepts>

#include "frame/operators.h"

namespace kdzk {

// What a selective body needs.
template <typename Encoding>
concept RowEncoding = requires(const uint8_t *payload, const kdzk_pred *pred, uint32_t row) {
    { Encoding::kClass } -> std::convertible_to<KernelClass>;
    { Encoding::kWidthBits } -> std::convertible_to<uint8_t>;
    { Encoding::kForm } -> std::convertible_to<Form>;
    { Encoding::read_key(pred) } -> std::same_as<typename Encoding::Key>;
    { Encoding::value_at(payload, row) } -> std::same_as<typename Encoding::Key>;
};

// What a main body needs besides.
template <typename Encoding>
concept BlockEncoding = RowEncoding<Encoding> && requires(
    const uint8_t *payload, const typename Encoding::template BlockTest<Operator::ge_le> &test) {
    { Encoding::kBlockRows } -> std::convertible_to<uint32_t>;   // a multiple of 8
    { Encoding::kBlockBytes } -> std::convertible_to<uint32_t>;  // of payload
    // Prepared once from the keys, before the loop. passes_none: whole calls that no row can pass skip the scan.
    { test.passes_none() } -> std::same_as<bool>;
    // The result words of one block, in `words`; their bytes together hold kBlockRows bits.
    {Encoding::scan_block(payload, test).words};
};

template <typename Encoding>
constexpr KernelId kernel_id(Operator op) {
    return {Encoding::kClass, Encoding::kWidthBits, operation_of(op), Encoding::kForm};
}

// Reads exactly the encoding's key width behind each operand, and each operand once.
template <typename Encoding, Operator op>
Keys<typename Encoding::Key> read_keys(const kdzk_pred *lower, const kdzk_pred *upper) {
    const auto key = Encoding::read_key(lower);
    if constexpr (is_range(op))
        return {key, Encoding::read_key(upper)};
    else
        return {key, key};
}

}  // namespace kdzk
