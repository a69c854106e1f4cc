// checker.h: proves a YPAK stream well-formed. Decoders trust their streams, so nothing from outside may reach one that
// hasn't passed here: a well-formed stream is read within its bytes and kStreamSlackBytes behind them, and written
// within its uncompressed length.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "progress.h"

namespace qvk {

// Must be readable behind a stream that is decoded, in bytes. What they hold doesn't matter.
inline constexpr uint32_t kStreamSlackBytes = 16;

// Where a stream's parts lie, in bytes from its start, and what its header says.
struct StreamLayout {
    bool extended = false;
    uint32_t uncompressed_length = 0, symbol_count = 0, code_bits = 0, code_count = 0;
    uint64_t symbol_lengths_at = 0, symbol_bytes_at = 0, codes_at = 0, size = 0;
};

struct CheckedStream {
    StreamLayout layout;  // as far as it is known when something is wrong
    std::string fault;    // empty: the stream is well-formed

    bool is_well_formed() const { return fault.empty(); }
};

// Looks at every length and every code. bytes may go on behind the stream. progress is told bytes of the stream.
CheckedStream check_stream(std::span<const uint8_t> bytes, const Progress &progress = {});

}  // namespace qvk
