// encoder.h: writes YPAK streams. A stream is a table of up to 1,024 symbols of 1 to 8 bytes, then one code a symbol,
// all codes as wide as the number of symbols asks for. frame/kdzk.h has the format, byte by byte.
//
// Symbols are chosen from a sample of the data by counting, over a few rounds, what each would save; then the data is
// taken symbol by symbol, always the longest that fits.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "progress.h"

namespace qvk {

// What a choice of symbols may cost. More of each gives smaller streams and takes longer.
struct SymbolSearch {
    uint32_t sample_bytes;    // at most, in pieces of 512 from all over the data; one piece in any case
    uint32_t sampled_one_in;  // 1 or more: of data of 16 KiB and more, one byte in so many at most
    uint32_t rounds;          // for the widest codes; about half as many for each narrower width that is tried
    uint32_t code_bits = 0;   // the widest codes to be used, up to 10, 0 meaning 10; 3 bits, and as many as the byte
                              // values in the data need, are used all the same
};
inline constexpr SymbolSearch kQuickSearch{16 << 10, 1, 4}, kUsualSearch{64 << 10, 4, 6},
    kThoroughSearch{1 << 20, 1, 16};

enum class StreamForm : uint8_t {
    plain,
    extended,  // with an auxiliary table and a gap before the codes, which decoders skip
};

// The stream alone; whoever decodes it adds kStreamSlackBytes of readable memory behind it. Data of 4 GiB or more
// throws std::length_error. The same data, search and form give the same stream.
// progress is told bytes of the data; it hears nothing while symbols are chosen.
std::vector<uint8_t> encode_stream(std::span<const uint8_t> data, const SymbolSearch &search = kUsualSearch,
                                   StreamForm form = StreamForm::plain, const Progress &progress = {});

}  // namespace qvk
