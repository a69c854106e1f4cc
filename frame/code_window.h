// code_window.h: codes as numbers in general registers. An eight-byte load, taken as one number, serves as many codes
// as lie within it whole; a shift and a mask cut each out.
#pragma once

#include "bitvec/bits.h"
#include "frame/packing.h"

namespace kdzk {

template <int kWidth>
struct CodeWindow {
    static constexpr int kCodes = codes_per_load(kWidth, sizeof(uint64_t));
    static constexpr uint64_t kMask = kWidth == 0 ? 0 : ~uint64_t{0} >> (64 - kWidth);

    // Where the load begins that serves a code, in bytes from a group's start.
    static constexpr int load_at(int code) { return first_byte(kWidth, code / kCodes * kCodes); }
    // Bits of the load behind the code.
    static constexpr int shift(int code) { return 8 * (load_at(code) + 8) - (code + 1) * kWidth; }
    // Codes of no bits are all 0, and a shift by the whole window isn't defined.
    static uint64_t cut(uint64_t window, int code) { return kWidth == 0 ? 0 : window >> shift(code) & kMask; }

    static constexpr int bytes_read_behind(int codes) { return load_at(codes - 1) + 8 - codes * kWidth / 8; }

    // Calls take(code) for so many codes from the start of a group on.
    template <int codes, typename Take>
    [[gnu::always_inline]] static void for_each(const uint8_t *at, Take take) {
#pragma GCC unroll 32
        for (int first = 0; first < codes; first += kCodes) {
            const uint64_t window = load_be<uint64_t>(at + load_at(first));
#pragma GCC unroll 32
            for (int i = 0; i < kCodes; ++i)
                take(cut(window, first + i));
        }
    }
};
static_assert(CodeWindow<3>::kCodes == 16 && CodeWindow<8>::kCodes == 8 && CodeWindow<10>::kCodes == 4);
static_assert(CodeWindow<9>::load_at(7) == 4 && CodeWindow<9>::shift(0) == 55 && CodeWindow<9>::shift(4) == 51);
static_assert(CodeWindow<10>::load_at(31) == 35 && CodeWindow<10>::shift(31) == 24);

}  // namespace kdzk
