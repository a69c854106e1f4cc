// Holding decoded payloads.
#include "decoded_payloads.h"

#include <algorithm>
#include <cstdlib>

namespace qvk {

void DecodedPayloads::add(Segment &segment) { segment.place = idle.insert(idle.end(), &segment); }

void *DecodedPayloads::allocate(Segment &segment) noexcept {
    while (!held.empty() && held_bytes + segment.payload_bytes() > limit) {
        drop(*held.back());
    }
    const uint32_t bytes = std::max(segment.payload_bytes(), 1u);
    while (!(segment.decompressed = std::malloc(bytes)) && !held.empty()) {
        drop(*held.back());
    }
    if (segment.decompressed) {
        held.splice(held.begin(), idle, segment.place);
        held_bytes += segment.payload_bytes();
    }
    return segment.decompressed;
}

void DecodedPayloads::use(Segment &segment) noexcept {
    if (segment.decompressed) {
        held.splice(held.begin(), held, segment.place);
    }
}

void DecodedPayloads::drop(Segment &segment) noexcept {
    if (segment.decompressed) {
        std::free(segment.decompressed);
        segment.decompressed = nullptr;
        held_bytes -= segment.payload_bytes();
        idle.splice(idle.begin(), held, segment.place);
    }
}

}  // namespace qvk
