// A run of rows of one column as the library sees it: a payload, or a YPAK stream of it, dressed as a vector.
#pragma once

#include "runs.h"

#include <kdzk.h>

#include <cstdlib>
#include <list>
#include <vector>

namespace qvk {

// The vector points into the segment, so a segment stays in place.
struct Segment {
    std::vector<uint8_t> stored;     // the payload with the slack behind it, or its stream with the stream's own slack
    std::vector<uint8_t> lens;       // length fields with their slack, where the encoding has any
    std::vector<uint64_t> not_null;  // by row, where the encoding keeps NULLs apart and the column has some
    Runs runs;                       // where the payload holds a code for each of them
    kdzk_enc_ctx encoding{};
    kdzk_vec vector{};
    void *decompressed = nullptr;          // holder behind decomp_slot, filled and emptied by DecodedPayloads
    std::list<Segment *>::iterator place;  // of a compressed one, in a list of DecodedPayloads

    Segment() = default;
    Segment(const Segment &) = delete;
    Segment &operator=(const Segment &) = delete;
    ~Segment() { std::free(decompressed); }

    // Dresses what the segment holds, a payload of so many rows or runs.
    void seal(uint32_t count, uint8_t width_bits);
    // Puts a stream in the sealed payload's place if that is worth it.
    void compress();
    // Takes over a well-formed stream of so many bytes of payload, as soon as it is sealed. The stream has its slack.
    void hold_stream(std::vector<uint8_t> stream, uint32_t bytes);
    bool is_compressed() const { return (encoding.flags & KDZK_ENC_YPAK) != 0; }
    // With the slack: kernels read there too.
    uint32_t payload_bytes() const { return vector.decomp_len; }
    uint64_t bytes_besides() const {
        return lens.size() + not_null.size() * sizeof(uint64_t) + runs.starts.size() * sizeof(uint32_t);
    }
    bool is_null(uint32_t row) const { return !not_null.empty() && (not_null[row / 64] >> row % 64 & 1) == 0; }
};

}  // namespace qvk
