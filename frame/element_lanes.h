// element_lanes.h: rows of whole bytes that fill their lanes.
#pragma once

#include "lanes.h"

namespace kdzk {

// How rows of whole bytes come into lanes that they fill. Equality is tested on the stored bytes, against a key in
// their order, which costs nothing a block; order needs the lanes' bytes reversed.
template <int kWidth, int kVectorsOfBlock = 8>
struct ElementLanes {
    using Block = const uint8_t *;
    using Value = UnsignedOf<kWidth>;
    static constexpr int kBits = kWidth, kVectors = kVectorsOfBlock, kPlaceSets = 1;
    static constexpr uint32_t kBlockBytes = kVectors * kVectorBytes, kBlockRows = kBlockBytes * 8 / kWidth;
    static constexpr bool kReachesTopBit = true;

    static constexpr int places_of(int) { return 0; }

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
    static Lanes<kBits> value_lanes(Value value) {
        return in_order<!ordered>(seen_as<8>(spread(value)));
    }
};

}  // namespace kdzk
