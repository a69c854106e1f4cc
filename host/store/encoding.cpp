// What an encoding's segments take.
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

}  // namespace qvk
