// ranges.cpp: setting and clearing the bits first to last, both included. Work is on bytes, which serves both families:
// a bit's byte address is the same in both, and nothing but the bytes that hold the range is touched.
#include "bitvec/bits.h"
#include "frame/platform.h"

namespace kdzk {

namespace {

// The bits from and to of a byte, both included.
uint8_t byte_bits(uint64_t from, uint64_t to) { return uint8_t(low_bits(to - from + 1) << from); }

template <bool value>
void fill_bits(uint8_t &byte, uint8_t bits) {
    byte = value ? uint8_t(byte | bits) : uint8_t(byte & ~bits);
}

template <bool value>
void fill_range(void *bv, uint64_t first, uint64_t last) {
    uint8_t *bytes = static_cast<uint8_t *>(bv);
    const uint64_t first_byte = first / 8, last_byte = last / 8, from = first % 8, to = last % 8;
    if (first_byte == last_byte)
        return fill_bits<value>(bytes[first_byte], byte_bits(from, to));
    fill_bits<value>(bytes[first_byte], byte_bits(from, 7));
    fill_bits<value>(bytes[last_byte], byte_bits(0, to));
    if (last_byte > first_byte + 1)
        memset(bytes + first_byte + 1, value ? 0xFF : 0, last_byte - first_byte - 1);
}

}  // namespace

}  // namespace kdzk

void kdzk_lbivset_range_dydi(void *bv, uint64_t first, uint64_t last) { kdzk::fill_range<true>(bv, first, last); }
KDZK_SAME_AS(kdzk_lbivset_range_dydi) void kdzk_lbiwvset_range_dydi(void *bv, uint64_t first, uint64_t last);

void kdzk_lbivclr_range_dydi(void *bv, uint64_t first, uint64_t last) { kdzk::fill_range<false>(bv, first, last); }
KDZK_SAME_AS(kdzk_lbivclr_range_dydi) void kdzk_lbiwvclr_range_dydi(void *bv, uint64_t first, uint64_t last);
