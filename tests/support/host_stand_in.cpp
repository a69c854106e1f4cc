#include "support/host_stand_in.h"

#include <algorithm>

namespace support {

static HostStandIn &host_of(void *env) { return *static_cast<HostStandIn *>(static_cast<kdzk_env *>(env)); }

template <class... Parts>
static void record(void *env, const Parts &...parts) {
    host_of(env).calls.push_back(call_text(parts...));
}

static void *allocate(void *env, void *heap, uint32_t size, const char *label, uint64_t constant_8,
                      uint64_t constant_16, uint64_t alloc_arg) {
    record(env, "alloc", heap, size, label, constant_8, constant_16, alloc_arg);
    return host_of(env).new_block(size);
}

static void *allocate_scratch(void *env, uint64_t size, const char *label, uint64_t constant_8, uint64_t constant_0,
                              uint64_t *cookie) {
    record(env, "stream_alloc", size, label, constant_8, constant_0, *cookie);
    *cookie = 1000 + size;
    return host_of(env).new_block(size);
}

static void free_scratch(void *env, void *block, uint64_t cookie) {
    const auto &known = host_of(env).block_addresses;
    record(env, "stream_free", std::find(known.begin(), known.end(), block) - known.begin(), cookie);
}

// Takes a stream to be its own content.
static uint32_t decode(kdzk_ypak_ctx *ctx, const void *src, void *buffer, uint32_t *produced, uint32_t limit) {
    const HostStandIn &host = host_of(ctx->env);
    const bool passes_services =
        ctx->heap == host.services.heap && ctx->stream_alloc == allocate_scratch && ctx->stream_free == free_scratch;
    record(ctx->env, "decode", passes_services, src, *host.holder == buffer, *produced, limit);
    std::memcpy(buffer, src, limit);
    *produced = limit;
    return host.decode_fails ? 3 : 0;
}

HostStandIn::HostStandIn()
    : kdzk_env{&calls}, services{this, &blocks, allocate, allocate_scratch, free_scratch, decode} {}

void *HostStandIn::new_block(size_t bytes) {
    blocks.push_back(std::make_unique<GuardedMemory>(bytes + slack, random));
    return block_addresses.emplace_back(blocks.back()->ending(bytes, slack));
}

}  // namespace support

extern "C" void host_raise_internal_error(void *env, void *err_handle, const char *message, int argument_count) {
    support::record(env, "raise", err_handle, message, argument_count);
    if (support::host_of(env).raise_target != nullptr)
        std::longjmp(*support::host_of(env).raise_target, 1);
}
