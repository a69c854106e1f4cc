// What the host does for the library during a call: memory for decompressed payloads, and the road back when the
// library raises an error.
//
// A raise leaves by a non-local jump over the kernel's frame. So the library's functions that may raise are called
// through call_over alone, and no object with a destructor may live between that call and theirs.
#pragma once

#include "decoded_payloads.h"

#include <csetjmp>
#include <stdexcept>

namespace qvk {

// A scratch array of the stream decoder lies behind one of these.
struct alignas(16) ScratchHeader {
    ScratchHeader *earlier;
};

// Where a raise lands; reached through err_handle.
struct RaiseTarget {
    jmp_buf back;
    char message[160] = "";
    ScratchHeader *scratch = nullptr;  // the last array that the decoder allocated and didn't free yet
};

// One for each table. The entries point into it, so it stays in place.
struct HostServices {
    kdzk_env environment{};
    kdzk_host_env entries{};
    RaiseTarget target;
    DecodedPayloads decoded;

    HostServices(kdzk_ypak_decode_fn ypak_decode, uint64_t memory_limit);
};

// What the library or an entry raised during a call.
struct CallFailed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Runs body(argument), which calls the library over one segment. After a raise, nothing is left of a payload whose
// decoding that ended, and CallFailed tells the reason.
void call_over(Segment &source, HostServices &services, void (*body)(void *), void *argument);

// Decodes what no kernel has asked for yet.
const uint8_t *decode_payload(Segment &segment, HostServices &services);

// The packed codes of a segment, valid until another one's are asked for.
inline const uint8_t *payload_of(Segment &segment, HostServices &services) {
    if (!segment.is_compressed()) {
        return segment.stored.data();
    }
    if (!segment.decompressed) {
        return decode_payload(segment, services);
    }
    services.decoded.use(segment);
    return static_cast<const uint8_t *>(segment.decompressed);
}

}  // namespace qvk
