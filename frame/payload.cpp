// payload.cpp: decompression on demand, the one road into the host that a kernel takes.
#include "frame/payload.h"

namespace kdzk {

const uint8_t *decompressed_payload(const kdzk_vec *src, const kdzk_exec_ctx *ctx, const char *label,
                                    const char *failure) {
    if (void *ready = *src->decomp_slot)
        return static_cast<const uint8_t *>(ready);

    const kdzk_host_env *host = ctx->host;
    // The constants mean something to hosts alone.
    void *buffer = host->alloc(host->env, host->heap, src->decomp_len, label, 8, 16, src->alloc_arg);
    *src->decomp_slot = buffer;

    uint32_t produced = 0;
    kdzk_ypak_ctx decoder = {host->env, host->heap, host->stream_alloc, host->stream_free};
    if (host->ypak_decode(&decoder, src->data, buffer, &produced, src->decomp_len) != 0)
        host_raise_internal_error(host->env, host->env->err_handle, failure, 0);
    return static_cast<const uint8_t *>(buffer);
}

}  // namespace kdzk
