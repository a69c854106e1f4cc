// payload.h: where a source's rows lie: in the vector itself, or decompressed once into a buffer that the host owns.
#pragma once

#include "bitvec/bits.h"
#include "frame/texts.h"

namespace kdzk {

// The buffer behind the source's holder, allocated and decoded first if the holder is empty. A failed decode goes to
// the host's raise, which may leave by a non-local jump: no caller may hold anything that would have to be released. If
// the raise returns, so does this, with the buffer as it is.
const uint8_t *decompressed_payload(const kdzk_vec *src, const kdzk_exec_ctx *ctx, const char *label,
                                    const char *failure);

// The context may be null for a source that needs no decompression.
template <KernelId id>
const uint8_t *payload_of(const kdzk_vec *src, const kdzk_exec_ctx *ctx) {
    if ((src->enc_ctx->flags & KDZK_ENC_YPAK) == 0) [[likely]]
        return static_cast<const uint8_t *>(src->data);
    return decompressed_payload(src, ctx, kLabel<id>.chars, kFailure<id>.chars);
}

}  // namespace kdzk
