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

// The library doesn't test the result, so an allocation that fails has to leave by the raise.
void *checked(void *env, void *block) {
    if (!block) {
        host_raise_internal_error(env, static_cast<kdzk_env *>(env)->err_handle, "out of memory", 0);
    }
    return block;
}

void *allocate_payload(void *env, void *, uint32_t size, const char *, uint64_t, uint64_t, uint64_t) {
    return checked(env, std::malloc(size > 0 ? size : 1));
}

void *allocate_scratch(void *env, uint64_t size, const char *, uint64_t, uint64_t, uint64_t *) {
    return checked(env, std::malloc(size > 0 ? size : 1));
}

void free_scratch(void *, void *block, uint64_t) { std::free(block); }

}  // namespace

void set_up_services(HostServices &services, kdzk_ypak_decode_fn ypak_decode) {
    services.environment.err_handle = &services.target;
    services.entries = {.env = &services.environment,
                        .heap = nullptr,
                        .alloc = allocate_payload,
                        .stream_alloc = allocate_scratch,
                        .stream_free = free_scratch,
                        .ypak_decode = ypak_decode};
}

bool call_guarded(HostServices &services, void (*body)(void *), void *argument) {
    if (setjmp(services.target.back) != 0) {
        return false;
    }
    body(argument);
    return true;
}

}  // namespace qvk
