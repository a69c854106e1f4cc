// predicate_call.h: one call of a predicate kernel with all its records, and the list of the kernels there are to call.
// Whatever a plain call must not look at points at unreadable memory.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kdzk.h"
#include "reference/kernels.h"
#include "support/guarded_memory.h"

namespace support {

inline bool is_live(uint32_t slot) { return kdzk_dispatch_table[slot].invalid != kdzk_dispatch_table[0].invalid; }

inline std::vector<reference::Kernel> live_dict_predicates() {
    std::vector<reference::Kernel> live;
    for (const reference::Kernel &kernel : reference::all_kernels())
        if (kernel.kernel_class == KDZK_CLASS_DICT && is_predicate(kernel) && is_live(slot_of(kernel)))
            live.push_back(kernel);
    return live;
}

inline std::string case_name(const testing::TestParamInfo<reference::Kernel> &info) { return name_of(info.param); }

struct PredicateCall {
    explicit PredicateCall(const reference::Kernel &called) : kernel(called) {
        src.enc_ctx = &encoding;
        src.lens = src.decomp_slot = static_cast<void **>(unreadable());
        lower.lens = upper.lens = unreadable();
    }
    uint64_t operator()(kdzk_exec_ctx *ctx) {
        const kdzk_kernel &entry = kdzk_dispatch_table[slot_of(kernel)];
        return is_range(kernel) ? entry.range(&dst, &src, &lower, &upper, ctx) : entry.key(&dst, &src, &lower, ctx);
    }

    reference::Kernel kernel;
    kdzk_enc_ctx encoding{};
    kdzk_vec dst{}, src{};
    kdzk_pred lower{}, upper{};
};

}  // namespace support
