// dynp.h: rows stored in as few bytes as they need, big-endian and end to end, without the zero bytes at their ends but
// for a row's first. Length fields tell how many bytes each row kept (length_fields.h), 1 to 2, 4 or 8.
//
// A byte of length fields describes a group of rows that takes no more than sixteen bytes. Two tables over such bytes
// take the place of any decision: the group's size, and the byte shuffle that puts each row at the high end of its
// lane, zeros behind it.
#pragma once

#include "bitvec/bits.h"
#include "predicates/trailing_zeros.h"

namespace kdzk {

template <int kLaneBits>
struct RowGroups {
    using Fields = LengthFields<kLaneBits>;
    using Control = std::array<uint8_t, kVectorBytes>;
    static constexpr int kRows = Fields::kRowsAByte, kLaneBytes = kLaneBits / 8;
    static_assert(kRows * kLaneBytes == kVectorBytes);
    static_assert(kVectorBytes - kRows <= KDZK_DYNP_SLACK_BYTES, "the last group's load is what hosts allow");

    static constexpr int stored_bytes(int lens, int row) {
        return (lens >> Fields::place_of(row) & Fields::kLargest) + 1;
    }
    // Lanes of 64 bits have fields that say more than eight bytes.
    static constexpr bool is_valid(int lens) {
        for (int row = 0; row < kRows; ++row)
            if (stored_bytes(lens, row) > kLaneBytes)
                return false;
        return true;
    }

    struct Tables {
        alignas(kVectorBytes) std::array<Control, 256> controls{};
        std::array<uint8_t, 256> bytes{};
    };

    // Required of a group with an invalid field: sixteen bytes are passed over, and its rows are zeros.
    static constexpr Tables tables() {
        constexpr uint8_t cleared = 0x80;
        Tables tables;
        for (size_t lens = 0; lens < 256; ++lens) {
            tables.controls[lens].fill(cleared);
            int at = 0;
            for (int row = 0; row < kRows && is_valid(int(lens)); ++row)
                for (int byte = 0; byte < stored_bytes(int(lens), row); ++byte)
                    tables.controls[lens][size_t((row + 1) * kLaneBytes - 1 - byte)] = uint8_t(at++);
            tables.bytes[lens] = is_valid(int(lens)) ? uint8_t(at) : uint8_t(kVectorBytes);
        }
        return tables;
    }
    static constexpr Tables kTables = tables();

    // What so many rows take whose fields a number holds and nothing else.
    static uint32_t bytes_of(uint64_t fields, uint32_t rows) {
        if constexpr (Fields::kBits == 4) {
            // Two fields a byte, then all bytes in the product's highest.
            constexpr uint64_t every_byte = ~uint64_t{0} / 0xFF;
            const uint64_t pairs = (fields & every_byte * 0x0F) + (fields >> 4 & every_byte * 0x0F);
            return rows + uint32_t(pairs * every_byte >> 56);
        }
        constexpr uint64_t lowest_bits = ~uint64_t{0} / Fields::kLargest;
        uint32_t bytes = rows;
        for (int bit = 0; bit < Fields::kBits; ++bit)
            bytes += ones_in(fields >> bit & lowest_bits) << bit;
        return bytes;
    }

    // What up to eight groups take, whose bytes of fields end at `end`. Reads eight of these bytes.
    static uint32_t bytes_of_groups_before(const uint8_t *end, uint32_t groups) {
        constexpr uint64_t invalid_bits = kLaneBits == 64 ? 0x8888888888888888 : 0;
        // By two shifts: one of 64 bits isn't defined.
        const uint32_t half = 32 - 4 * groups;
        const uint64_t fields = load<uint64_t>(end - 8) >> half >> half;
        if ((fields & invalid_bits) == 0) [[likely]]
            return bytes_of(fields, groups * kRows);
        return looked_up_bytes(end - groups, end);
    }
    static uint32_t looked_up_bytes(const uint8_t *lens, const uint8_t *end) {
        uint32_t bytes = 0;
        while (lens < end)
            bytes += kTables.bytes[*lens++];
        return bytes;
    }
};
static_assert(RowGroups<16>::kTables.bytes[0] == 8 && RowGroups<16>::kTables.bytes[0xFF] == 16);
static_assert(RowGroups<32>::kTables.controls[0x00]
              == std::array<uint8_t, 16>{0x80, 0x80, 0x80, 0, 0x80, 0x80, 0x80, 1,  //
                                         0x80, 0x80, 0x80, 2, 0x80, 0x80, 0x80, 3});
static_assert(RowGroups<32>::kTables.controls[0xFF]
              == std::array<uint8_t, 16>{3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12});
static_assert(RowGroups<64>::kTables.bytes[0x17] == 10 && RowGroups<64>::kTables.bytes[0x80] == 16);

// Up to four bytes as the highest of a number, zeros behind them. Reads those bytes alone, some of them twice, so that
// their number decides nothing.
inline uint32_t load_be_prefix_of_4(const uint8_t *at, uint32_t bytes) {
    const uint32_t second = (bytes - 1) / 2, third = bytes / 2, last = bytes - 1;
    return uint32_t{at[0]} << 24 | uint32_t{at[second]} << (24 - 8 * second) | uint32_t{at[third]} << (24 - 8 * third)
           | uint32_t{at[last]} << (24 - 8 * last);
}

// The same for the value of a lane.
template <int kLaneBits>
UnsignedOf<kLaneBits> load_be_prefix(const uint8_t *at, uint32_t bytes) {
    if constexpr (kLaneBits < 64) {
        return UnsignedOf<kLaneBits>(load_be_prefix_of_4(at, bytes) >> (32 - kLaneBits));
    } else {
        if (bytes < 4)
            return uint64_t{load_be_prefix_of_4(at, bytes)} << 32;
        const uint64_t first = load_be<uint32_t>(at), last = load_be<uint32_t>(at + bytes - 4);
        return first << 32 | last << (64 - 8 * bytes);
    }
}

// A block of four groups: where each begins, and its byte of fields.
struct GroupBlock {
    const uint8_t *groups[4];
    size_t lens[4];
};

// How a block's groups come into lanes: by the shuffle of their lengths.
template <int kLaneBits>
struct GroupLanes : ByteRowLanes<kLaneBits, 4> {
    using Block = GroupBlock;
    static constexpr int kBits = kLaneBits;
    static constexpr uint32_t kBlockBytes = 4 * kVectorBytes;  // at most

    template <bool, int vector>
    static Lanes<kBits> values(const Block &block) {
        const auto &control = RowGroups<kBits>::kTables.controls[block.lens[vector]];
        return pick_bytes<kBits>(load_lanes<8>(block.groups[vector]), load_lanes<8>(control.data()));
    }
};

// A row's place depends on all rows before it, so a reader only goes forward.
template <int kLaneBits>
struct DynpRows {
    using InLanes = GroupLanes<kLaneBits>;
    using Groups = RowGroups<kLaneBits>;
    using Fields = LengthFields<kLaneBits>;
    using Value = UnsignedOf<kLaneBits>;
    static constexpr uint32_t kBlockRows = InLanes::kBlockRows, kBlockBytes = InLanes::kBlockBytes;
    template <Operator op>
    using BlockTest = RangeTest<InLanes, Value(~uint64_t{0}), Form::plain, op>;

    const uint8_t *payload, *lens;
    const uint8_t *next_group = payload, *next_lens = lens;

    const uint8_t *position() const { return next_group; }

    GroupBlock take_block() {
        GroupBlock block;
#pragma GCC unroll 4
        for (int group = 0; group < 4; ++group) {
            block.groups[group] = next_group;
            block.lens[group] = next_lens[group];
            next_group += Groups::kTables.bytes[block.lens[group]];
        }
        next_lens += Fields::bytes_of(kBlockRows);
        return block;
    }

    void skip_groups_to(const uint8_t *wanted_lens) {
        for (; wanted_lens - next_lens > 8; next_lens += 8)
            next_group += Groups::bytes_of_groups_before(next_lens + 8, 8);
        next_group += wanted_lens - lens < 8
                          ? Groups::looked_up_bytes(next_lens, wanted_lens)
                          : Groups::bytes_of_groups_before(wanted_lens, uint32_t(wanted_lens - next_lens));
        next_lens = wanted_lens;
    }

    Value value_at(uint32_t row) {
        skip_groups_to(lens + row / Groups::kRows);
        const uint32_t rows_before = row % Groups::kRows;
        const uint32_t fields_before = uint32_t{*next_lens} >> (8 - rows_before * Fields::kBits);
        const uint8_t *at = next_group + Groups::bytes_of(fields_before, rows_before);
        const uint32_t bytes = Fields::field_at(lens, row) + 1u;
        // A lane's worth of bytes that ends with the row's. Only the first rows haven't got as many before their end.
        const uint8_t *lane = at + bytes - sizeof(Value);
        if (lane < payload) [[unlikely]]
            return load_be_prefix<kLaneBits>(at, bytes);
        return Value(load_be<Value>(lane) << (kLaneBits - 8 * bytes));
    }
};

template <int kWidth, Form form>
struct Dynp {
    static constexpr bool kHasFields = form == Form::tz;
    using Key = decltype(read_lane_key<kWidth, kHasFields>(nullptr));

    static constexpr KernelClass kClass = KernelClass::dynp;
    static constexpr uint8_t kWidthBits = kWidth;
    static constexpr Form kForm = form;

    static Key read_key(const kdzk_pred *pred) { return read_lane_key<kWidth, kHasFields>(pred); }

    template <Body, typename Visit>
    [[gnu::always_inline]] static uint32_t with_rows(Source source, Visit visit) {
        const uint8_t *lens = static_cast<const uint8_t *>(source.vector->lens);
        const DynpRows<kWidth> rows{source.payload, lens};
        if constexpr (kHasFields)
            return visit(RowsWithFields<DynpRows<kWidth>>{rows, lens});
        else
            return visit(rows);
    }
};

}  // namespace kdzk
