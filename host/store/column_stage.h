// A column while its rows come in and its encoding is still open: provisional codes in order of first appearance as
// long as there are few distinct values, plain values from then on.
#pragma once

#include "plain_values.h"

#include <unordered_map>

namespace qvk {

// Counts NULL as a value. The largest dictionary that an encoding serves: 8-bit codes.
inline constexpr size_t kMaxDictionaryValues = 256;

struct ColumnStage {
    std::vector<Value> distinct;  // by provisional code; empty once there were too many
    std::vector<uint32_t> codes;  // one a row; empty once there were too many
    PlainValues plain;            // all rows, once there were too many
    bool few_distinct = true;
    uint64_t source_bytes = 0;

    void add(const ValueView &value);

  private:
    std::unordered_map<std::string, uint32_t> code_of_identity;
    std::string identity;  // kept between rows for its memory

    void add_coded(const ValueView &value);
    void go_plain();
};

}  // namespace qvk
