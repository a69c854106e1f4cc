// Values one after the other, as they came: nine bytes a row and the bytes of texts and blobs in one heap.
#pragma once

#include "value.h"

#include <vector>

namespace qvk {

struct PlainValues {
    std::vector<Type> types;
    std::vector<uint64_t> words;  // the integer, the bits of the real, or the offset of the length in the heap
    std::string heap;             // length in bytes (u32), then the bytes

    void add(const ValueView &value);
    ValueView at(size_t row) const;
    uint64_t bytes() const { return types.size() * sizeof(Type) + words.size() * sizeof(uint64_t) + heap.size(); }
    // What add takes for the value.
    static uint64_t bytes_of(const ValueView &value);
};

}  // namespace qvk
