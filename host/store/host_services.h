// What the host does for the library during a call: memory for decompressed payloads, and the road back when the
// library raises an error.
//
// A raise leaves by a non-local jump over the kernel's frame. So a kernel is called through call_guarded alone, and no
// object with a destructor may live between that call and the kernel.
#pragma once

#include <kdzk.h>

#include <csetjmp>

namespace qvk {

// Where a raise lands. One for each scan; reached through err_handle of the scan's own environment.
struct RaiseTarget {
    jmp_buf back;
    char message[160] = "";
};

struct HostServices {
    kdzk_env environment{};
    kdzk_host_env entries{};
    RaiseTarget target;
};

// The entries point into services, so it must stay where it is.
void set_up_services(HostServices &services, kdzk_ypak_decode_fn ypak_decode);

// Runs body(argument). False if the library or an entry raised: the reason is in services.target.message.
bool call_guarded(HostServices &services, void (*body)(void *), void *argument);

}  // namespace qvk
