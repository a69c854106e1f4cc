// Segments: payloads dressed as the library's vectors, as they are or compressed.
#include "segment.h"

#include "ypak/checker.h"
#include "ypak/encoder.h"

#include <stdexcept>
#include <string>

namespace qvk {
namespace {

// A stream is kept if it takes at most this share of its payload: what saves less isn't worth decoding. Measured: see
// host/README.md, for the search too.
constexpr double kLargestShare = 0.875;

// Decoders trust a stream, so a wrong one mustn't be kept.
void require_sound(const std::vector<uint8_t> &stream, size_t payload_bytes) {
    const CheckedStream checked = check_stream(stream);
    if (!checked.is_well_formed() || checked.layout.uncompressed_length != payload_bytes) {
        throw std::logic_error("internal error: compression went wrong: " + checked.fault);
    }
}

}  // namespace

void Segment::seal(uint32_t count, uint8_t width_bits) {
    encoding.width = width_bits;
    if (!runs.starts.empty()) {
        encoding.flags |= KDZK_RLE;
        encoding.run_count = count;
        encoding.run_offs_be = runs.starts.data();
    }
    vector.data = stored.data();
    vector.lens = lens.data();
    vector.filter_bv = not_null.empty() ? nullptr : not_null.data();
    vector.enc_ctx = &encoding;
    vector.row_count = count;
    vector.decomp_len = static_cast<uint32_t>(stored.size());
    vector.decomp_slot = &decompressed;
    vector.alloc_arg = reinterpret_cast<uintptr_t>(this);  // alloc learns whose buffer it makes
}

void Segment::compress() {
    std::vector<uint8_t> stream = encode_stream(stored, kQuickSearch);
    const size_t with_slack = stream.size() + kStreamSlackBytes;
    if (static_cast<double>(with_slack) > kLargestShare * static_cast<double>(stored.size())) {
        return;
    }
    require_sound(stream, stored.size());
    stream.resize(with_slack);
    stream.shrink_to_fit();
    hold_stream(std::move(stream), payload_bytes());
}

void Segment::hold_stream(std::vector<uint8_t> stream, uint32_t bytes) {
    stored = std::move(stream);
    vector.data = stored.data();
    vector.decomp_len = bytes;
    encoding.flags |= KDZK_ENC_YPAK;
}

}  // namespace qvk
