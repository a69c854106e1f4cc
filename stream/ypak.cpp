// ypak.cpp: the driver of YPAK stream decompression. It reads the header, builds the symbol table in two work arrays
// that the host allocates, has the codes read and checks the length of the result. The stream is trusted: what the
// header's tests don't refuse isn't looked at again.
#include "frame/platform.h"
#include "stream/symbol_readers.h"

namespace kdzk {

namespace {

constexpr uint32_t kMagic = 0x5950414B;  // "YPAK"

enum HeaderFlags : uint8_t { kUnknownA = 0x01, kRequired = 0x02, kUnknownB = 0x08 };

// Where the header's fields lie, in bytes from the stream's start.
enum HeaderOffsets : uint32_t {
    kVersionAt = 4,
    kFlagsAt = 5,
    kAuxCountAt = 10,
    kUncompressedLengthAt = 12,
    kSymbolCountAt = 16,
    kSymbolLengthsAt = 18,
};

struct Header {
    uint32_t uncompressed_length, symbol_count, code_bits;
    bool extended;
};

// Reads no further than the first field that it doesn't know.
bool is_known_format(const uint8_t *stream) {
    if (load_be<uint32_t>(stream) != kMagic || stream[kVersionAt] != 0)
        return false;
    const uint8_t flags = stream[kFlagsAt];
    return (flags & kRequired) != 0 && (flags & (kUnknownA | kUnknownB)) == 0;
}

Header read_header(const uint8_t *stream) {
    const uint32_t symbol_count = load_be<uint16_t>(stream + kSymbolCountAt);
    return {
        .uncompressed_length = load_be<uint32_t>(stream + kUncompressedLengthAt),
        .symbol_count = symbol_count,
        .code_bits = uint32_t(std::bit_width(symbol_count - 1)),  // 32 for no symbols, which is refused as too wide
        .extended = int16_t(load_be<uint16_t>(stream + kAuxCountAt)) > 0,
    };
}

uint8_t symbol_length(const uint8_t *stream, uint32_t symbol) {
    const uint8_t pair = stream[kSymbolLengthsAt + symbol / 2];
    return symbol % 2 == 0 ? pair >> 4 : pair & 0x0F;
}

// Fills both arrays; returns the end of the symbols' bytes. Each entry takes eight bytes of the stream, so the last
// ones reach into what follows the symbols.
const uint8_t *expand_symbols(const uint8_t *stream, const Header &header, uint8_t *symbols, uint8_t *lengths) {
    const uint8_t *at = stream + kSymbolLengthsAt + (header.symbol_count + 1) / 2;
    if (header.extended)
        at += 2 * header.symbol_count;
    for (uint32_t i = 0; i < header.symbol_count; ++i) {
        const uint8_t length = symbol_length(stream, i);
        lengths[i] = length;
        store(symbols + kSymbolBytes * i, load<uint64_t>(at));
        at += length;
    }
    return at;
}

// `at` stands on the code count. Returns the number of bytes written.
uint32_t read_codes(const uint8_t *at, const Header &header, SymbolTable table, uint8_t *output) {
    const uint32_t code_count = load_be<uint32_t>(at);
    const uint8_t *codes = at + 4;
    if (header.extended)
        codes += load_be<uint32_t>(codes) >> 7;
    return kCodeReaders[header.code_bits](codes, code_count, table, output);
}

struct WorkArray {
    uint8_t *bytes;
    uint64_t cookie;  // the allocator's own word
};

WorkArray allocate(const kdzk_ypak_ctx *ctx, uint64_t size, const char *label) {
    WorkArray array = {nullptr, 0};
    array.bytes = static_cast<uint8_t *>(ctx->stream_alloc(ctx->env, size, label, 8, 0, &array.cookie));
    return array;
}

void release(const kdzk_ypak_ctx *ctx, WorkArray array) {
    if (array.bytes)
        ctx->stream_free(ctx->env, array.bytes, array.cookie);
}

}  // namespace

}  // namespace kdzk

using namespace kdzk;

uint32_t kdzk_ypak_decode_dydi(kdzk_ypak_ctx *ctx, const void *src, void *buffer, uint32_t *produced, uint32_t limit) {
    const uint8_t *stream = static_cast<const uint8_t *>(src);
    if (!is_known_format(stream))
        return KDZK_STATUS_REFUSED;
    const Header header = read_header(stream);
    if (header.uncompressed_length > limit || header.code_bits > kMaxCodeBits)
        return KDZK_STATUS_REFUSED;

    // The lengths are asked for with one byte to spare, which is never written; host allocators know this size.
    const WorkArray lengths = allocate(ctx, header.symbol_count + 1, "ypak_decode_x86 length_array");
    const WorkArray symbols = allocate(ctx, kSymbolBytes * header.symbol_count, "ypak_decode_x86: symbol_array");
    const uint8_t *at = expand_symbols(stream, header, symbols.bytes, lengths.bytes);
    *produced = read_codes(at, header, {symbols.bytes, lengths.bytes}, static_cast<uint8_t *>(buffer));
    release(ctx, symbols);
    release(ctx, lengths);
    return *produced == header.uncompressed_length ? KDZK_STATUS_OK : KDZK_STATUS_REFUSED;
}
