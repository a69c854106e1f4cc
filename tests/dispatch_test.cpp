// dispatch_test.cpp: all slots of both tables against the rules, the stubs, and what an unused slot does.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "support/assertion.h"
#include "support/predicate_call.h"

extern "C" const char *const kdzk_dispatch_names[KDZK_TABLE_SLOTS];

namespace {

using reference::Kernel;

TEST(DispatchTable, HoldsAllKernelsAndNothingElse) {
    std::vector<std::string> expected_names(KDZK_TABLE_SLOTS, "kdzk_invalid_dispatch");
    for (const Kernel &kernel : reference::all_kernels())
        expected_names[slot_of(kernel)] = name_of(kernel);
    for (uint32_t slot = 0; slot < KDZK_TABLE_SLOTS; ++slot) {
        EXPECT_EQ(kdzk_dispatch_names[slot], expected_names[slot]) << slot;
        EXPECT_EQ(support::is_live(slot), expected_names[slot] != "kdzk_invalid_dispatch") << slot;
    }
}

TEST(Slots, FollowFromClassWidthOperationAndForm) {
    const uint32_t other_forms[] = {KDZK_FORM_TZ, KDZK_FORM_NULL, KDZK_FORM_TZ, KDZK_FORM_CLA};
    const std::vector<Kernel> kernels = reference::all_kernels();
    std::map<uint32_t, Kernel> by_slot;
    for (const Kernel &kernel : kernels)
        by_slot[slot_of(kernel)] = kernel;
    ASSERT_EQ(by_slot.size(), 740u);
    EXPECT_EQ(name_of(by_slot[2848]), "kdzk_eq_dict_64bit");
    EXPECT_EQ(name_of(by_slot[6083]), "kdzk_le_dynp_16bit_tz");
    EXPECT_EQ(name_of(by_slot[6 * 128 + 110]), "kdzk_burst_rle_8bit");
    for (uint32_t kernel_class = 0; kernel_class < 4; ++kernel_class)
        for (uint32_t width = 0; width < 130; ++width)
            for (uint32_t operation = 0; operation <= KDZK_OP_DISTINCT; ++operation)
                for (const uint32_t form : {uint32_t{KDZK_FORM_PLAIN}, other_forms[kernel_class]}) {
                    const Kernel kernel{kernel_class, width, operation, form};
                    const auto found = by_slot.find(kdzk_slot(kernel_class, width, operation, form));
                    const bool exists = std::find(kernels.begin(), kernels.end(), kernel) != kernels.end();
                    EXPECT_EQ(found != by_slot.end() && found->second == kernel, exists) << name_of(kernel);
                    EXPECT_EQ(found != by_slot.end(), exists) << name_of(kernel) << " shares a slot";
                }
}

TEST(Stubs, TouchNothing) {
    auto *const vec = static_cast<kdzk_vec *>(support::unreadable());
    for (const Kernel &kernel : reference::all_kernels()) {
        const kdzk_vec_fn stub = kdzk_dispatch_table[slot_of(kernel)].vec;
        EXPECT_EQ(is_stub(kernel) ? stub(vec, vec, nullptr) : 0, 0u) << name_of(kernel);
    }
}

TEST(InvalidDispatch, SaysSoAndFailsItsAssertion) {
    support::last_assertion = {{}, "", true};
    testing::internal::CaptureStdout();
    kdzk_dispatch_table[0].invalid();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Dispatched to unimplemented function!\n");
    EXPECT_EQ(support::last_assertion.expressions, std::vector<std::string>{"0"});
    EXPECT_EQ(support::last_assertion.file, "common/data/qvk/x86/kdzkc_x86");
    support::last_assertion.returns = false;
}

TEST(Constants, AreAsHostsReadThem) {
    EXPECT_EQ(std::vector<uint64_t>(kdzk_constants, kdzk_constants + KDZK_CONSTANT_COUNT),
              (std::vector<uint64_t>{8, 8, 8, 8, 8, 8, 8, 16, 0, 16, 0, 0}));
}

TEST(EntryPoints, TakeAnything) {
    kdzk_init_sharedlib_dydi(support::unreadable());
    kdzk_set_trace_level_dydi(nullptr);
}

}  // namespace
