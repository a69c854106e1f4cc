// Counting the rows of each code.
#pragma once

#include "table.h"

namespace qvk {

// By code, for a column with a dictionary. Throws CallFailed.
std::vector<uint64_t> count_codes(const Table &table, const Encoding &encoding);

}  // namespace qvk
