// length_fields.h: the lengths of rows that may be stored in fewer bytes than their lanes have. A row's field is its
// length in bytes less one, so a lane of 16, 32 or 64 bits needs 1, 2 or 4 bits. Fields are packed from the high bits
// of each byte down, without gaps: row 0 of 32 bits has the top two bits of byte 0.
#pragma once

#include "lanes.h"

namespace kdzk {

template <int kLaneBits>
struct LengthFields {
    static constexpr int kBits = kLaneBits / 16, kRowsAByte = 8 / kBits;
    static constexpr uint8_t kLargest = (1 << kBits) - 1;
    // The bytes of so many rows' fields; blocks fill whole bytes.
    static constexpr uint32_t bytes_of(uint32_t rows) { return rows / kRowsAByte; }

    // How far a row's field is from the low end of its byte, in bits.
    static constexpr int place_of(int row) { return 8 - kBits - row % kRowsAByte * kBits; }

    static uint8_t field_at(const uint8_t *lens, uint32_t row) {
        return uint8_t(lens[row / kRowsAByte] >> place_of(int(row % kRowsAByte)) & kLargest);
    }

    using Bytes = std::array<uint8_t, kVectorBytes>;

    // Lane l takes the byte in which the field of the gather's row l lies.
    static constexpr Bytes spread_control(int gather) {
        Bytes control{};
        for (int lane = 0; lane < kVectorBytes; ++lane)
            control[size_t(lane)] = uint8_t((gather * kVectorBytes + lane) / kRowsAByte);
        return control;
    }
    // A field's value where each lane's field lies.
    static constexpr Bytes in_place(uint8_t field) {
        Bytes bytes{};
        for (int lane = 0; lane < kVectorBytes; ++lane)
            bytes[size_t(lane)] = uint8_t(field << place_of(lane));
        return bytes;
    }

    // The fields of a gather of sixteen rows, each at its place in a byte lane, out of a block's bytes.
    template <int gather>
    static Lanes<8> in_lanes(Lanes<8> block) {
        static constexpr Bytes kSpread = spread_control(gather), kMask = in_place(kLargest);
        return both(pick_bytes<8>(block, load_lanes<8>(kSpread.data())), load_lanes<8>(kMask.data()));
    }

    // Bytes compare signed only, so where fields have an order their top bits are flipped. Fields of one bit need none:
    // those above a field are equal to 1 if it is 0, and there are none if it is 1.
    static Lanes<8> in_signed_order(Lanes<8> fields) { return differing(fields, spread(uint8_t{0x80})); }

    // A field as `above` takes it.
    static Lanes<8> as_bound(uint8_t field) {
        if (kBits == 1 && field != 0)
            return spread(uint8_t{0xFF});
        const Bytes bytes = in_place(kBits == 1 ? 1 : field);
        const auto lanes = load_lanes<8>(bytes.data());
        return kBits == 1 ? lanes : in_signed_order(lanes);
    }
    static Lanes<8> above(Lanes<8> fields, Lanes<8> bound) {
        return kBits == 1 ? equal(fields, bound) : greater(in_signed_order(fields), bound);
    }
};
static_assert(LengthFields<16>::in_place(1)[0] == 0x80 && LengthFields<16>::in_place(1)[15] == 0x01);
static_assert(LengthFields<32>::in_place(3)[1] == 0x30 && LengthFields<64>::in_place(15)[1] == 0x0F);
static_assert(LengthFields<16>::spread_control(1)[7] == 2 && LengthFields<32>::spread_control(0)[4] == 1
              && LengthFields<64>::spread_control(0)[7] == 3);

}  // namespace kdzk
