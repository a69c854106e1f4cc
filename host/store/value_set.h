// Values of which a row's has to equal one, many of them: a Bloom filter of their hashes takes out nearly all other
// rows, and the values themselves decide on those that pass it.
#pragma once

#include "value.h"

#include <kdzk.h>

#include <vector>

namespace qvk {

// The same for values that compare as equal. Filters take its low 32 bits.
uint64_t hash_of(const ValueView &value);

// Points into itself, so it stays in place.
class ValueSet {
  public:
    explicit ValueSet(const std::vector<Value> &values);
    ValueSet(const ValueSet &) = delete;
    ValueSet &operator=(const ValueSet &) = delete;

    // NULL is in no set.
    bool contains(const ValueView &value) const;
    // The operand of a probe.
    const kdzk_pred &filter() const { return operand; }

  private:
    std::vector<Value> members;   // without repetition
    std::vector<uint32_t> table;  // of open addressing by the hash's upper half: a member's place plus 1, or 0

    std::vector<uint64_t> bits;
    std::vector<const void *> partitions;  // of bits, where these are beyond the second cache
    kdzk_enc_ctx layout{};
    kdzk_pred operand{};

    // In the table: the value's, or the empty one where it would be.
    size_t slot_of(const ValueView &value, uint64_t hash) const;
    void lay_out_filter(size_t values);
};

}  // namespace qvk
