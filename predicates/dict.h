// dict.h: dictionary codes. A row holds a small unsigned integer, the code of its value in a dictionary that the host
// keeps; kernels compare codes and never look at the dictionary. Keys are codes in the processor's byte order.
//
// Widths of whole bytes need no bit extraction: a vector's load is already a vector of codes.
#pragma once

#include "bitvec/bits.h"
#include "frame/encoding.h"
#include "lanes.h"
#include "predicates/lane_test.h"

namespace kdzk {

template <int kBits, Form form>
struct Dict;

// Eight vectors of sixteen codes a block: two result words.
template <>
struct Dict<8, Form::plain> {
    static constexpr KernelClass kClass = KernelClass::dict;
    static constexpr uint8_t kWidthBits = 8;
    static constexpr Form kForm = Form::plain;
    static constexpr uint32_t kBlockRows = 128, kBlockBytes = 128;

    using Key = uint8_t;
    template <Operator op>
    using BlockTest = LaneTest<op, Key, 8>;

    struct BlockResult {
        uint64_t words[kBlockRows / kWordBits];
    };

    static Key read_key(const kdzk_pred *pred) { return load<Key>(pred->data); }

    static Key value_at(const uint8_t *payload, uint32_t row) { return payload[row]; }

    template <typename Test>
    static BlockResult scan_block(const uint8_t *at, const Test &test) {
        BlockResult block{};
#pragma GCC unroll 8
        for (uint32_t v = 0; v < kBlockBytes / kVectorBytes; ++v) {
            const uint32_t row = v * kVectorBytes;
            const uint64_t hits = top_bits(test(load_lanes<8>(at + row)));
            block.words[row / kWordBits] |= hits << row % kWordBits;
        }
        for (uint64_t &word : block.words)
            word = test.completed(word);
        return block;
    }
};

}  // namespace kdzk
