// Packing codes.
#include "code_stream.h"

namespace qvk {
namespace {

void store_big_endian(uint8_t *at, uint32_t word) {
    word = __builtin_bswap32(word);
    std::memcpy(at, &word, sizeof word);
}

}  // namespace

uint32_t width_for(uint64_t distinct_codes) {
    uint32_t width = 1;
    while (distinct_codes > uint64_t{1} << width) {
        ++width;
    }
    return width <= 20 ? width : width <= 24 ? 24 : 32;
}

uint64_t packed_bytes(uint64_t rows, uint32_t width_bits) {
    return (rows * width_bits + 7) / 8 + KDZK_DICT_SLACK_BYTES;  // at every width: code_at reads there too
}

std::vector<uint8_t> pack_codes(std::span<const uint32_t> codes, uint32_t width_bits) {
    std::vector<uint8_t> payload(packed_bytes(codes.size(), width_bits));
    uint8_t *out = payload.data();
    uint64_t held = 0;       // the low held_bits of it aren't stored yet
    uint32_t held_bits = 0;  // below 32 between codes
    for (const uint32_t code : codes) {
        held = held << width_bits | code;
        held_bits += width_bits;
        if (held_bits >= 32) {
            held_bits -= 32;
            store_big_endian(out, static_cast<uint32_t>(held >> held_bits));
            out += 4;
        }
    }
    store_big_endian(out, static_cast<uint32_t>(held << (32 - held_bits)));  // may reach into the slack
    return payload;
}

}  // namespace qvk
