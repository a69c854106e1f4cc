// lane_compress.h: tables that move the lanes of selected rows to the front of a vector.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kdzk {

// For each selection of so many rows, the byte shuffle that moves the wanted ones' elements to the front.
template <int kLaneBytes, int kElementBytes, int kRows>
constexpr auto lane_compress() {
    constexpr size_t elements_bytes = size_t(kRows * kElementBytes);
    std::array<std::array<uint8_t, elements_bytes>, size_t{1} << kRows> controls{};
    for (size_t wanted = 0; wanted < controls.size(); ++wanted) {
        controls[wanted].fill(0x80);
        size_t at = 0;
        for (int row = 0; row < kRows; ++row)
            for (int byte = 0; byte < kElementBytes && (wanted >> row & 1) != 0; ++byte)
                controls[wanted][at++] = uint8_t(row * kLaneBytes + byte);
    }
    return controls;
}
inline constexpr auto kdzk_lane_compress = lane_compress<4, 4, 4>();
template <int kLaneBytes, int kElementBytes>
inline constexpr auto kEightLaneCompress = lane_compress<kLaneBytes, kElementBytes, 8>();
static_assert(kdzk_lane_compress[0b1010]
              == std::array<uint8_t, 16>{4, 5, 6, 7, 12, 13, 14, 15, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80});

}  // namespace kdzk
