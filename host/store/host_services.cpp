// The host's entry points for the library.
#include "host_services.h"

#include <cstdio>
#include <cstdlib>

// Imported by the library under this name, from whichever module of the process exports it first; it needs nothing of
// its own but the handle, so any copy of this code serves the raises of all.
extern "C" __attribute__((visibility("default"))) void host_raise_internal_error(void *, void *err_handle,
                                                                                 const char *message, int) {
    qvk::RaiseTarget &target = *static_cast<qvk::RaiseTarget *>(err_handle);
    std::snprintf(target.message, sizeof target.message, "%s", message);
    std::longjmp(target.back, 1);
}

namespace qvk {
namespace {

RaiseTarget &target_of(void *env) { return *static_cast<RaiseTarget *>(static_cast<kdzk_env *>(env)->err_handle); }

// The library doesn't test the result, so an allocation that fails has to leave by the raise.
void *checked(void *env, void *block) {
    if (!block) {
        host_raise_internal_error(env, &target_of(env), "out of memory", 0);
    }
    return block;
}

void *allocate_payload(void *env, void *heap, uint32_t, const char *, uint64_t, uint64_t, uint64_t alloc_arg) {
    Segment &segment = *reinterpret_cast<Segment *>(alloc_arg);
    return checked(env, static_cast<DecodedPayloads *>(heap)->allocate(segment));
}

void *allocate_scratch(void *env, uint64_t size, const char *, uint64_t, uint64_t, uint64_t *) {
    void *block = checked(env, std::malloc(sizeof(ScratchHeader) + size));
    ScratchHeader *header = new (block) ScratchHeader{target_of(env).scratch};
    target_of(env).scratch = header;
    return header + 1;
}

// Decoders free in the reverse order, as far as they are ours.
void free_scratch(void *env, void *block, uint64_t) {
    ScratchHeader **place = &target_of(env).scratch;
    while (*place + 1 != block) {
        place = &(*place)->earlier;
    }
    ScratchHeader *freed = *place;
    *place = freed->earlier;
    std::free(freed);
}

// False after a raise.
bool call_guarded(RaiseTarget &target, void (*body)(void *), void *argument) {
    if (setjmp(target.back) != 0) {
        return false;
    }
    body(argument);
    return true;
}

// What the library does for its kernels in the same way.
struct Decoding {
    Segment &segment;
    const kdzk_host_env &host;
};

void decode(void *argument) {
    const auto &[segment, host] = *static_cast<Decoding *>(argument);
    void *buffer = host.alloc(host.env, host.heap, segment.payload_bytes(), "rows of a segment: payload", 8, 16,
                              segment.vector.alloc_arg);
    kdzk_ypak_ctx context{host.env, host.heap, host.stream_alloc, host.stream_free};
    uint32_t produced = 0;
    if (host.ypak_decode(&context, segment.stored.data(), buffer, &produced, segment.payload_bytes()) != 0) {
        host_raise_internal_error(host.env, host.env->err_handle, "rows of a segment: decoding failed", 0);
    }
}

}  // namespace

HostServices::HostServices(kdzk_ypak_decode_fn ypak_decode, uint64_t memory_limit) : decoded(memory_limit) {
    environment.err_handle = &target;
    entries = {.env = &environment,
               .heap = &decoded,
               .alloc = allocate_payload,
               .stream_alloc = allocate_scratch,
               .stream_free = free_scratch,
               .ypak_decode = ypak_decode};
}

void call_over(Segment &source, HostServices &services, void (*body)(void *), void *argument) {
    services.decoded.use(source);
    if (call_guarded(services.target, body, argument)) {
        return;
    }
    while (services.target.scratch) {
        free_scratch(&services.environment, services.target.scratch + 1, 0);
    }
    services.decoded.drop(source);  // a payload that isn't whole would pass for one
    throw CallFailed(services.target.message);
}

const uint8_t *decode_payload(Segment &segment, HostServices &services) {
    Decoding decoding{segment, services.entries};
    call_over(segment, services, decode, &decoding);
    return static_cast<const uint8_t *>(segment.decompressed);
}

}  // namespace qvk
