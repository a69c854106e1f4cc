// Hashing values, and laying out filters.
#include "value_set.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace qvk {
namespace {

// A filter has so many bits for each value, so that at most one in 64 rows without any of them passes, and never less
// than the first cache holds beside the hashes, 16 KiB. Up to 1 MiB it is one array, which the second cache holds.
// Measured: see host/README.md.
constexpr uint64_t kBitsOfAValue = 64;
constexpr uint64_t kFewestBits = uint64_t{1} << 17;
constexpr uint64_t kFlatBits = uint64_t{1} << 23;
constexpr uint32_t kPartitionBitsLog2 = 21;
constexpr uint64_t kMostBits = uint64_t{1} << 32;  // a probe's hashes tell no more apart

__extension__ typedef unsigned __int128 Product;

uint64_t mix(uint64_t a, uint64_t b) {
    const Product product = Product{a} * b;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// Odd, with bits in no pattern.
constexpr uint64_t kFactor = 0x9E3779B97F4A7C15, kLastFactor = 0xD6E8FEB86659FD93;

uint64_t hash_of_word(uint64_t word, Type type) {
    return mix(mix(word ^ kLastFactor, kFactor) + static_cast<uint64_t>(type), kLastFactor);
}

uint64_t hash_of_bytes(std::string_view bytes, Type type) {
    uint64_t hash = bytes.size();
    for (; bytes.size() > sizeof hash; bytes.remove_prefix(sizeof hash)) {
        uint64_t word = 0;
        std::memcpy(&word, bytes.data(), sizeof word);
        hash = mix(hash ^ word, kFactor) + 1;
    }
    uint64_t word = 0;
    std::memcpy(&word, bytes.data(), bytes.size());
    return hash_of_word(std::rotl(hash, 32) ^ word, type);
}

}  // namespace

uint64_t hash_of(const ValueView &value) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (has_bytes(value)) {
        return hash_of_bytes(value.bytes, value.type);
    }
    if (value.type != Type::real) {
        return hash_of_word(static_cast<uint64_t>(value.integer), value.type);
    }
    // Where there is an integer of its rank, a real has that one's hash.
    const bool has_integer = value.real >= -kTwoTo63 && value.real < kTwoTo63 && value.real == std::floor(value.real);
    return has_integer ? hash_of_word(static_cast<uint64_t>(static_cast<int64_t>(value.real)), Type::integer)
                       : hash_of_word(std::bit_cast<uint64_t>(value.real), Type::real);
}

ValueSet::ValueSet(const std::vector<Value> &values) : table(std::bit_ceil(2 * values.size() + 1)) {
    lay_out_filter(values.size());
    for (const Value &value : values) {
        const uint64_t hash = hash_of(value.view());
        uint32_t &slot = table[slot_of(value.view(), hash)];
        if (slot == 0) {
            members.push_back(value);
            slot = static_cast<uint32_t>(members.size());
            const uint32_t bit = static_cast<uint32_t>(hash) & layout.bloom_mask;
            bits[bit / 64] |= uint64_t{1} << bit % 64;
        }
    }
}

bool ValueSet::contains(const ValueView &value) const {
    return value.type != Type::null && table[slot_of(value, hash_of(value))] != 0;
}

size_t ValueSet::slot_of(const ValueView &value, uint64_t hash) const {
    size_t slot = (hash >> 32) & (table.size() - 1);
    while (table[slot] != 0 && compare(members[table[slot] - 1].view(), value) != 0) {
        slot = (slot + 1) & (table.size() - 1);
    }
    return slot;
}

void ValueSet::lay_out_filter(size_t values) {
    const uint64_t size = std::clamp<uint64_t>(std::bit_ceil(values * kBitsOfAValue), kFewestBits, kMostBits);
    bits.resize(size / 64);
    layout.bloom_mask = static_cast<uint32_t>(size - 1);
    operand.enc_ctx = &layout;
    operand.res_bv = bits.data();
    if (size > kFlatBits) {
        for (uint64_t bit = 0; bit < size; bit += uint64_t{1} << kPartitionBitsLog2) {
            partitions.push_back(bits.data() + bit / 64);
        }
        layout.bloom_partitioned = 1;
        layout.bloom_shift = kPartitionBitsLog2;
        layout.bloom_part_mask = (1u << kPartitionBitsLog2) - 1;
        operand.res_bv = reinterpret_cast<uint64_t *>(partitions.data());
    }
}

}  // namespace qvk
