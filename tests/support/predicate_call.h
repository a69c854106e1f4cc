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

inline std::vector<reference::Kernel> live_kernels(uint32_t first_operation, uint32_t last_operation) {
    std::vector<reference::Kernel> live = reference::all_kernels();
    std::erase_if(live, [=](const reference::Kernel &kernel) {
        return kernel.operation < first_operation || kernel.operation > last_operation || !is_live(slot_of(kernel));
    });
    return live;
}

inline std::vector<reference::Kernel> live_predicates() { return live_kernels(KDZK_OP_EQ, KDZK_OP_GE_LE); }

inline std::vector<reference::Kernel> live_dict_predicates() {
    std::vector<reference::Kernel> live = live_predicates();
    std::erase_if(live, [](const auto &kernel) { return kernel.kernel_class != KDZK_CLASS_DICT; });
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

// Row counts around blocks of 8, 16, 32, 64 and 128 rows.
inline constexpr uint64_t kRowCounts[] = {0,   1,   8,   15,  16,  17,  31,  32,  33,  63,  64,  65,
                                          127, 128, 129, 191, 192, 193, 255, 256, 257, 300, 1000};
inline constexpr uint64_t kMostRows = 8 * 256 + 127;

// A call whose masks and result lie where one byte too many is found out.
struct GuardedPredicateCall : PredicateCall {
    using PredicateCall::PredicateCall;

    bool is_selective() const { return context.selective != 0 && context.sel_bv != nullptr; }

    const uint64_t *lay_mask(GuardedMemory &memory, uint64_t rows, size_t shift) {
        // The walk over a selection reads its first word even if there are no rows.
        const auto words = mask(random.one_of(kDensities), std::max(rows, uint64_t{1}), random);
        return reinterpret_cast<const uint64_t *>(memory.ending_with(words.data(), words.size() * 8, shift));
    }

    // One mask in three is absent, but for the selection of a selective body.
    reference::Masks lay_masks(uint64_t rows, size_t shift, bool selective) {
        src.filter_bv = random.below(3) == 0 ? nullptr : lay_mask(filter, rows, shift);
        context.sel_bv = !selective && random.below(3) == 0 ? nullptr : lay_mask(selection, rows, shift);
        context.selective = selective || context.sel_bv == nullptr ? 7 : 0;
        context.host = static_cast<kdzk_host_env *>(unreadable());
        return {src.filter_bv, context.sel_bv, is_selective()};
    }

    // Calls the kernel with what is laid down and compares all that it writes.
    void expect(const reference::Answer &expected, size_t shift) {
        const size_t bytes = expected.words.size() * 8;
        result.restore();
        uint8_t *const written = result.ending(bytes, shift);
        dst.res_bv = static_cast<uint64_t *>(static_cast<void *>(written));
        dst.hit_count = 0xDEADBEEF;
        const uint32_t flags = context.flags = static_cast<uint32_t>(random.word());
        const bool contextless = context.sel_bv == nullptr && random.below(2) == 0;
        ASSERT_EQ((*this)(contextless ? nullptr : &context), expected.status);
        ASSERT_EQ(dst.hit_count, expected.hit_count);
        std::vector<uint64_t> words(expected.words.size());
        std::copy(written, written + bytes, reinterpret_cast<uint8_t *>(words.data()));
        ASSERT_EQ(words, expected.words);
        ASSERT_TRUE(result.unchanged_but(written, bytes));
        const uint32_t mark = kernel.operation == KDZK_OP_SET ? KDZK_RAN_SELECTIVE_SET : KDZK_RAN_SELECTIVE;
        ASSERT_EQ(context.flags, is_selective() ? flags | mark : flags);
    }

    std::string scene() const {
        return std::to_string(src.row_count) + " rows, selective " + std::to_string(context.selective) + ", masks "
               + (src.filter_bv != nullptr ? "filter " : "") + (context.sel_bv != nullptr ? "selection" : "");
    }

    Random random;
    GuardedMemory result{512, random}, filter{512, random}, selection{512, random};
    kdzk_exec_ctx context{};
};

}  // namespace support
