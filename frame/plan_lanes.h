// plan_lanes.h: a plan's constants as vectors hold them, and what they make of a load: codes alone in their lanes,
// where they lay in the payload.
#pragma once

#include "frame/packing.h"
#include "lanes.h"

namespace kdzk {

template <typename P>
struct PlanLanes {
    static constexpr int kBits = P::kLaneBits;
    static_assert(kLoadBytes == kVectorBytes);

    static constexpr auto as_lanes(const typename P::LaneValues &values) {
        std::array<UnsignedOf<kBits>, P::kLanes> lanes{};
        for (size_t lane = 0; lane < lanes.size(); ++lane)
            lanes[lane] = UnsignedOf<kBits>(values[lane]);
        return lanes;
    }
    template <int vector>
    static constexpr auto kControl = P::control(vector);
    template <int vector>
    static constexpr auto kPlaces = as_lanes(P::places(vector));
    template <int vector>
    static constexpr auto kMasks = as_lanes(P::masks(vector));

    // The bytes of a vector's codes, out of the load that serves it.
    template <int vector>
    static Lanes<kBits> shuffled(Lanes<8> loaded) {
        return pick_bytes<kBits>(loaded, load_lanes<8>(kControl<P::control_of(vector)>.data()));
    }
    // The codes alone.
    template <int vector>
    static Lanes<kBits> codes_in_place(Lanes<8> loaded) {
        if constexpr (!P::kNeedsMask)
            return shuffled<vector>(loaded);
        else
            return both(shuffled<vector>(loaded), load_lanes<kBits>(kMasks<P::places_of(vector)>.data()));
    }
};

}  // namespace kdzk
