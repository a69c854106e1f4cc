// What encodings have in common.
#include "encoding.h"

namespace qvk {

PayloadBytes payload_bytes(const Encoding &encoding) {
    PayloadBytes sum;
    for (const auto &segment : encoding.segments()) {
        sum.packed += segment->payload_bytes();
        sum.stored += segment->stored.size();
        sum.decoded += segment->decompressed ? segment->payload_bytes() : 0;
    }
    return sum;
}

ColumnScan probe_for(const Predicate &predicate, uint64_t rows) {
    if (predicate.values.empty() || rows == 0) {
        return {ColumnScan::Rows::none, {}};
    }
    return {ColumnScan::Rows::probed, {}, rows / 2, std::make_unique<ValueSet>(predicate.values)};
}

}  // namespace qvk
