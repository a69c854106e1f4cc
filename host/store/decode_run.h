// A call of a kernel that decodes codes of a dictionary.
#pragma once

#include "table.h"

namespace qvk {

// Without a destructor: a raise jumps over the frame that makes the call.
struct DecodeRun {
    kdzk_vec_fn kernel;
    const kdzk_vec *source;
    kdzk_vec destination;
    kdzk_exec_ctx context;
};

// For operations KDZK_OP_DECODE, _DECODE_UNPACK and _DECODE_SYMBOL. What is to be decoded, and where to, is left to
// fill in.
inline DecodeRun prepare_decode(const Table &table, const KernelFamily &family, uint32_t operation) {
    DecodeRun run{};
    run.kernel = find_kernel(*table.library, {family, operation}).vec;
    run.context.host = &table.services->entries;
    return run;
}

// Throws CallFailed.
inline void run_over(Segment &segment, HostServices &services, DecodeRun &run) {
    run.source = &segment.vector;
    const auto body = [](void *argument) {
        DecodeRun &call = *static_cast<DecodeRun *>(argument);
        call.kernel(&call.destination, call.source, &call.context);
    };
    call_over(segment, services, body, &run);
}

}  // namespace qvk
