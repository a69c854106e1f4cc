// The hashes of a column's rows as a Bloom probe reads them, made segment by segment when one is first probed, and
// kept.
#pragma once

#include <kdzk.h>

#include <cstddef>
#include <vector>

namespace qvk {

struct Table;

class RowHashes {
  public:
    // Of a segment, as a vector. Throws CallFailed.
    kdzk_vec of(const Table &table, size_t column, size_t segment);
    uint64_t bytes() const;

  private:
    std::vector<std::vector<uint32_t>> segments;  // big-endian, one a row
};

}  // namespace qvk
