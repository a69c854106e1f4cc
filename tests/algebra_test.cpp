// algebra_test.cpp: the 18 functions of bit-vector algebra over lengths, alignments, aliases and page borders.
#include <gtest/gtest.h>

#include "reference/bit_vectors.h"
#include "support/guarded_memory.h"

namespace {

using reference::Unit;

// Passes as whatever pointer a family's functions take.
struct Address {
    uint8_t *at;
    template <class T>
    operator T *() const {
        return reinterpret_cast<T *>(at);
    }
};

using Call = void (*)(Address dst, uint32_t *count, const Address (&from)[3], uint64_t nbits);

template <auto function>
void call(Address dst, uint32_t *count, const Address (&from)[3], uint64_t nbits) {
    if constexpr (requires { function(dst, count, from[0], from[1], from[2], nbits); })
        function(dst, count, from[0], from[1], from[2], nbits);
    else if constexpr (requires { function(dst, count, from[0], from[1], nbits); })
        function(dst, count, from[0], from[1], nbits);
    else
        function(dst, count, from[0], nbits);
}

struct Algebra {
    const char *name;
    bool (*rule)(bool a, bool b, bool c);
    Call bytes, words;
};

constexpr Algebra kAlgebra[] = {
    {"and", [](bool a, bool b, bool) { return a && b; }, call<kdzk_lbivand_dydi>, call<kdzk_lbiwvand_dydi>},
    {"or", [](bool a, bool b, bool) { return a || b; }, call<kdzk_lbivor_dydi>, call<kdzk_lbiwvor_dydi>},
    {"xor", [](bool a, bool b, bool) { return a != b; }, call<kdzk_lbivxor_dydi>, call<kdzk_lbiwvxor_dydi>},
    {"andnot", [](bool a, bool b, bool) { return !a && b; }, call<kdzk_lbivandnot_dydi>, call<kdzk_lbiwvandnot_dydi>},
    {"and3", [](bool a, bool b, bool c) { return a && b && c; }, call<kdzk_lbivand3_dydi>, call<kdzk_lbiwvand3_dydi>},
    {"or3", [](bool a, bool b, bool c) { return a || b || c; }, call<kdzk_lbivor3_dydi>, call<kdzk_lbiwvor3_dydi>},
    {"xor3", [](bool a, bool b, bool c) { return (a != b) != c; }, call<kdzk_lbivxor3_dydi>, call<kdzk_lbiwvxor3_dydi>},
    {"not", [](bool a, bool, bool) { return !a; }, call<kdzk_lbivnot_dydi>, call<kdzk_lbiwvnot_dydi>},
};

constexpr uint64_t kLengths[] = {0, 1, 7, 8, 9, 17, 63, 64, 65, 120, 127, 128, 129, 200, 256, 1000};

// A shift is the distance in bytes from the unreadable page behind; -1 is right behind the one in front.
uint8_t *placed(support::GuardedMemory &memory, uint64_t bytes, int shift) {
    return shift < 0 ? memory.starting() : memory.ending(bytes, static_cast<size_t>(shift));
}

class AlgebraTest : public testing::TestWithParam<Algebra> {
  protected:
    // dst is source number dst_at, or apart from all at 3.
    void check(Unit unit, uint64_t nbits, int dst_shift, int source_shift, size_t dst_at, bool counted) {
        const uint64_t bytes = extent_bytes(unit, nbits);
        Address at[4];
        for (size_t i = 0; i < 4; ++i) {
            memory_[i].restore();
            at[i].at = placed(memory_[i], bytes, i == dst_at ? dst_shift : source_shift);
        }
        std::vector<uint8_t> expected(bytes);
        for (uint64_t row = 0; row < bytes * 8; ++row)
            reference::put_bit(expected.data(), row,
                               GetParam().rule(reference::bit_at(at[0], row), reference::bit_at(at[1], row),
                                               reference::bit_at(at[2], row)));
        const uint8_t *const dst = at[dst_at];
        uint32_t count = 0xDEADBEEF;
        const Call function = unit == Unit::byte ? GetParam().bytes : GetParam().words;
        function(at[dst_at], counted ? &count : nullptr, {at[0], at[1], at[2]}, nbits);
        ASSERT_EQ(std::vector<uint8_t>(dst, dst + bytes), expected);
        ASSERT_TRUE(memory_[dst_at].unchanged_but(dst, bytes));
        ASSERT_EQ(count, counted ? reference::count_ones(dst, nbits) : 0xDEADBEEF);
    }

    support::Random random_;
    support::GuardedMemory memory_[4] = {{256, random_}, {256, random_}, {256, random_}, {256, random_}};
};

TEST_P(AlgebraTest, CombinesAndCountsAtEveryPlace) {
    for (const Unit unit : {Unit::byte, Unit::word})
        for (const uint64_t nbits : kLengths)
            for (int dst_shift = -1; dst_shift < 16; ++dst_shift)
                for (const int source_shift : {-1, 0, 5, 8})
                    for (size_t dst_at = 0; dst_at < 4; ++dst_at) {
                        check(unit, nbits, dst_shift, source_shift, dst_at, true);
                        check(unit, nbits, dst_shift, source_shift, dst_at, false);
                        if (HasFatalFailure())
                            FAIL() << "unit " << int(unit) << ", nbits " << nbits << ", dst " << dst_at << " at "
                                   << dst_shift << ", sources at " << source_shift;
                    }
}

INSTANTIATE_TEST_SUITE_P(, AlgebraTest, testing::ValuesIn(kAlgebra), [](const auto &info) { return info.param.name; });

TEST(PopulationCount, LeavesOutWhatLiesAboveTheLastRow) {
    support::Random random;
    support::GuardedMemory memory(256, random);
    for (const uint64_t nbits : kLengths)
        for (int shift = -1; shift < 16; ++shift) {
            uint32_t count = 0xDEADBEEF;
            const uint8_t *const bytes = placed(memory, extent_bytes(Unit::byte, nbits), shift);
            kdzk_lbivpopcnt_dydi(&count, bytes, nbits);
            ASSERT_EQ(count, reference::count_ones(bytes, nbits)) << nbits << " bits, shift " << shift;
            const Address words{placed(memory, extent_bytes(Unit::word, nbits), shift)};
            kdzk_lbiwvpopcnt_dydi(&count, words, nbits);
            ASSERT_EQ(count, reference::count_ones(words, nbits)) << nbits << " bits, shift " << shift;
        }
}

}  // namespace
