// fixed.h: rows of one length each, big-endian byte strings of 1 to 8 bytes. A row is compared as the number that its
// bytes make at the high end of a lane of 8, 16, 32 or 64 bits, zeros behind them. Keys are lanes of that kind:
// big-endian and as long as the lane.
//
// Lanes of 32 bits hold rows of 3 or 4 bytes, lanes of 64 bits rows of 5 to 8. How many it is, the host says at run
// time, in the `width` of an encoding context: the first key's, but for the main body of the form with trailing zeros,
// which looks at the source's.
#pragma once

#include "predicates/trailing_zeros.h"

namespace kdzk {

// How rows that are shorter than their lanes come into them. Each load begins with a row, so it takes fewer bytes than
// it reads.
template <int kLaneBits, int kStoredBytes, int kVectorsOfBlock>
struct StridedLanes : ByteRowLanes<kLaneBits, kVectorsOfBlock> {
    using Block = const uint8_t *;
    static constexpr int kBits = kLaneBits;
    static constexpr int kRowsALoad = kVectorBytes * 8 / kBits, kBytesALoad = kRowsALoad * kStoredBytes;
    static constexpr uint32_t kBlockBytes = kVectorsOfBlock * kBytesALoad;
    static_assert(kVectorBytes - kBytesALoad <= KDZK_FIXED_SLACK_BYTES, "a block reads no further than hosts allow");

    // A lane's highest byte is its row's first; the bytes below the last are cleared.
    static constexpr std::array<uint8_t, kVectorBytes> in_lanes() {
        constexpr int lane_bytes = kBits / 8;
        std::array<uint8_t, kVectorBytes> control{};
        for (int at = 0; at < kVectorBytes; ++at) {
            const int lane = at / lane_bytes, byte = lane_bytes - 1 - at % lane_bytes;
            control[size_t(at)] = byte < kStoredBytes ? uint8_t(lane * kStoredBytes + byte) : 0x80;
        }
        return control;
    }

    template <bool, int vector>
    static Lanes<kBits> values(Block block) {
        static constexpr auto kInLanes = in_lanes();
        return pick_bytes<kBits>(load_lanes<8>(block + vector * kBytesALoad), load_lanes<8>(kInLanes.data()));
    }
};
static_assert(StridedLanes<32, 3, 8>::in_lanes()
              == std::array<uint8_t, 16>{0x80, 2, 1, 0, 0x80, 5, 4, 3, 0x80, 8, 7, 6, 0x80, 11, 10, 9});
static_assert(StridedLanes<64, 5, 8>::in_lanes()
              == std::array<uint8_t, 16>{0x80, 0x80, 0x80, 4, 3, 2, 1, 0, 0x80, 0x80, 0x80, 9, 8, 7, 6, 5});

// The bits of a lane that a row's bytes take.
template <int kLaneBits, int kStoredBytes>
inline constexpr auto kStoredMask = UnsignedOf<kLaneBits>(~uint64_t{0} << (kLaneBits - 8 * kStoredBytes));

// Reads a whole lane, so up to three bytes behind a row that is shorter.
template <int kLaneBits, int kStoredBytes>
UnsignedOf<kLaneBits> fetch_stored(const uint8_t *payload, uint32_t row) {
    using Value = UnsignedOf<kLaneBits>;
    return load_be<Value>(payload + uint64_t{row} * kStoredBytes) & kStoredMask<kLaneBits, kStoredBytes>;
}

template <typename InLanes, int kStoredBytes>
using FixedRows = EvenRows<InLanes, UnsignedOf<InLanes::kBits>(~uint64_t{0}), Form::plain,
                           fetch_stored<InLanes::kBits, kStoredBytes>>;

template <int kLaneBits, int kStoredBytes, int kVectors>
struct FixedRowsInLanes : FixedRows<ElementLanes<kLaneBits, kVectors>, kStoredBytes> {
    using Base = FixedRows<ElementLanes<kLaneBits, kVectors>, kStoredBytes>;
    using Base::Base;
};

// Kept on purpose: behind the last whole block, a key's bytes behind the row's length count as zero, but in equalities
// at 32 bits. Everywhere else the whole key is compared. Hosts give keys with zeros there.
template <int kLaneBits, int kStoredBytes, int kVectors>
requires(kStoredBytes * 8 < kLaneBits) struct FixedRowsInLanes<kLaneBits, kStoredBytes, kVectors>
    : FixedRows<StridedLanes<kLaneBits, kStoredBytes, kVectors>, kStoredBytes> {
    using Base = FixedRows<StridedLanes<kLaneBits, kStoredBytes, kVectors>, kStoredBytes>;
    using Base::Base;
    using Value = UnsignedOf<kLaneBits>;

    template <Operator op>
    static Value tail_key(Value key) {
        return kLaneBits == 32 && row_of(op).equality ? key : key & kStoredMask<kLaneBits, kStoredBytes>;
    }
};

template <int kWidth, Form form>
struct Fixed {
    // Rows of one byte have one length, so at 8 bits the form makes no difference but in names.
    static constexpr bool kHasFields = form == Form::tz && kWidth > 8;
    static constexpr int kLaneBytes = kWidth / 8, kVectors = kHasFields ? 4 : 8;
    using Key = decltype(read_lane_key<kWidth, kHasFields>(nullptr));

    static constexpr KernelClass kClass = KernelClass::fixed;
    static constexpr uint8_t kWidthBits = kWidth;
    static constexpr Form kForm = form;

    static Key read_key(const kdzk_pred *pred) { return read_lane_key<kWidth, kHasFields>(pred); }

    template <Body body, typename Visit>
    [[gnu::always_inline]] static uint32_t with_rows(Source source, Visit visit) {
        constexpr int least_bytes = kLaneBytes / 2 + 1;
        if constexpr (least_bytes == kLaneBytes) {
            return visit_rows<kLaneBytes>(source, visit);
        } else {
            constexpr bool source_tells = form == Form::tz && body == Body::main;
            const kdzk_enc_ctx *encoding = source_tells ? source.vector->enc_ctx : source.first_key->enc_ctx;
            return with_stored<least_bytes>(encoding->width, source, visit);
        }
    }

  private:
    // Widths that no row can have are taken for the lane's.
    template <int kStoredBytes, typename Visit>
    [[gnu::always_inline]] static uint32_t with_stored(uint8_t stored_bits, Source source, Visit visit) {
        if constexpr (kStoredBytes < kLaneBytes)
            if (stored_bits != kStoredBytes * 8)
                return with_stored<kStoredBytes + 1>(stored_bits, source, visit);
        return visit_rows<kStoredBytes>(source, visit);
    }

    template <int kStoredBytes, typename Visit>
    [[gnu::always_inline]] static uint32_t visit_rows(Source source, Visit visit) {
        using Rows = FixedRowsInLanes<kWidth, kStoredBytes, kVectors>;
        const Rows rows(source.payload);
        if constexpr (kHasFields)
            return visit(RowsWithFields<Rows>{rows, static_cast<const uint8_t *>(source.vector->lens)});
        else
            return visit(rows);
    }
};

}  // namespace kdzk
