// encoding.h: what the frame asks of an encoding: what its kernels are called, how their keys are read, and readers for
// the rows of a source.
//
// A reader stands for the rows of one source as one layout has them. An encoding with several layouts, told apart at
// run time, has a reader for each, so that a body is made for each and none is asked for inside a loop.
#pragma once

#include <concepts>

#include "frame/operators.h"

namespace kdzk {

// What a selective body needs. Rows are asked for in ascending order.
template <typename Reader>
concept RowReader = requires(Reader rows, uint32_t row) {
    { rows.value_at(row) } -> std::same_as<typename Reader::Value>;
};

// What a main body needs besides.
template <typename Reader>
concept BlockReader = RowReader<Reader> && requires(Reader rows,
                                                    const typename Reader::template BlockTest<Operator::ge_le> &test) {
    { Reader::kBlockRows } -> std::convertible_to<uint32_t>;   // a multiple of 8
    { Reader::kBlockBytes } -> std::convertible_to<uint32_t>;  // of payload, at most
    // The payload of the next block, and the block itself, after which the next one's turn is. Blocks come before any
    // single row.
    { rows.position() } -> std::same_as<const uint8_t *>;
    {rows.take_block()};
    // Prepared once from the keys, before the loop. passes_none: whole calls that no row can pass skip the blocks.
    { test.passes_none() } -> std::same_as<bool>;
    // The results of sixteen rows of a block, one byte lane a row.
    {test.template sixteen_rows<0>(rows.take_block())};
};

// The blocks of a payload in which each takes so many bytes, as readers of such payloads have them.
template <uint32_t kBytes>
struct EvenBlocks {
    static constexpr uint32_t kBlockBytes = kBytes;
    const uint8_t *payload, *next_block;

    explicit EvenBlocks(const uint8_t *at) : payload(at), next_block(at) {}
    const uint8_t *position() const { return next_block; }
    const uint8_t *take_block() {
        const uint8_t *block = next_block;
        next_block += kBlockBytes;
        return block;
    }
};

// Readers of such payloads.
template <typename Reader>
concept HasEvenBlocks = std::derived_from<Reader, EvenBlocks<Reader::kBlockBytes>>;

// A reader that can be read by two blocks at a time, as one whose blocks are such pairs, and on behind them.
template <typename Reader>
concept HasPairs = requires(Reader rows) {
    rows.go_on_behind(rows.in_pairs());
};

// A reader whose rows behind the last whole block are compared with other keys than those in blocks.
template <typename Reader, Operator op>
concept HasTailKeys = requires(typename Reader::Value key) {
    { Reader::template tail_key<op>(key) } -> std::same_as<typename Reader::Value>;
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

// The bodies of a kernel. An encoding may look for its layout in another place for each.
enum class Body : uint8_t { main, selective };

// What a reader is made from.
struct Source {
    const uint8_t *payload;
    const kdzk_vec *vector;
    const kdzk_pred *first_key;
};

}  // namespace kdzk
