// Segments: payloads dressed as the library's vectors.
#include "encoding.h"

#include <cstdlib>

namespace qvk {

void Segment::seal(uint32_t rows, uint8_t width_bits) {
    encoding.width = width_bits;
    vector.data = payload.data();
    vector.enc_ctx = &encoding;
    vector.row_count = rows;
    vector.decomp_len = static_cast<uint32_t>(payload.size());  // with the slack, which kernels read there too
    vector.decomp_slot = &decompressed;
}

void Segment::drop_decompressed() {
    std::free(decompressed);
    decompressed = nullptr;
}

}  // namespace qvk
