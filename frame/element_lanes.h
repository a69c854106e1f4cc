// element_lanes.h: rows of whole bytes in lanes, above all those that fill them.
#pragma once

#include "lanes.h"

namespace kdzk {

// What all ways into lanes of rows of whole bytes have in common: any value may come up, and no place is another row's.
template <int kLaneBits, int kVectorsOfBlock>
struct ByteRowLanes {
    using Value = UnsignedOf<kLaneBits>;
    static constexpr int kBits = kLaneBits, kVectors = kVectorsOfBlock, kPlaceSets = 1;
    static constexpr uint32_t kBlockRows = kVectors * kVectorBytes * 8 / kBits;
    static constexpr bool kReachesTopBit = true;
    static constexpr int kBitsBehind = 0;

    static constexpr int places_of(int) { return 0; }

    // Of rows that come in the lanes' order, whatever is tested.
    template <bool, int>
    static Lanes<kBits> value_lanes(Value value) {
        return spread(value);
    }
};

// How rows of whole bytes come into lanes that they fill. Equality is tested on the stored bytes, against a key in
// their order, which costs nothing a block; order needs the lanes' bytes reversed.
template <int kWidth, int kVectorsOfBlock = 8>
struct ElementLanes : ByteRowLanes<kWidth, kVectorsOfBlock> {
    using Block = const uint8_t *;
    static constexpr int kBits = kWidth;
    static constexpr uint32_t kBlockBytes = kVectorsOfBlock * kVectorBytes;

    static constexpr std::array<uint8_t, kVectorBytes> reversal() {
        std::array<uint8_t, kVectorBytes> control{};
        for (int at = 0; at < kVectorBytes; ++at)
            control[size_t(at)] = uint8_t(at ^ (kWidth / 8 - 1));
        return control;
    }

    template <bool ordered>
    static Lanes<kBits> in_order(Lanes<8> stored) {
        static constexpr auto kReversal = reversal();
        if constexpr (ordered && kWidth > 8)
            return pick_bytes<kBits>(stored, load_lanes<8>(kReversal.data()));
        else
            return seen_as<kBits>(stored);
    }

    template <bool ordered, int vector>
    static Lanes<kBits> values(Block block) {
        return in_order<ordered>(load_lanes<8>(block + vector * kVectorBytes));
    }

    template <bool ordered, int set>
    static Lanes<kBits> value_lanes(UnsignedOf<kWidth> value) {
        return in_order<!ordered>(seen_as<8>(spread(value)));
    }
};

}  // namespace kdzk
