// host_stand_in.h: a host that writes down every call the library makes, in order and with its arguments, and that
// fails where a test asks for it.
#pragma once

#include <csetjmp>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "kdzk.h"
#include "support/guarded_memory.h"

namespace support {

// The parts, joined by blanks: how a call stands in HostStandIn::calls.
template <class... Parts>
std::string call_text(const Parts &...parts) {
    std::ostringstream text;
    ((text << parts << ' '), ...);
    return text.str();
}

struct HostStandIn : kdzk_env {
    HostStandIn();
    void *new_block(size_t bytes);

    kdzk_host_env services;
    std::vector<std::string> calls;
    bool decode_fails = false;             // after it has copied
    std::jmp_buf *raise_target = nullptr;  // null: the raise returns
    void **holder = nullptr;               // which decode must find filled
    size_t slack = 0;                      // readable bytes behind an allocated buffer
    Random random;
    std::vector<std::unique_ptr<GuardedMemory>> blocks;
    std::vector<void *> block_addresses;  // as they were handed out, by the same index
};

// Runs the call; true if the host's raise left it by a jump.
template <class Call>
bool leaves_by_jump(HostStandIn &host, Call call) {
    std::jmp_buf target;
    host.raise_target = &target;
    if (setjmp(target) != 0)
        return true;
    call();
    return false;
}

}  // namespace support
