// Writing streams: the header with its table, then the codes.
#include "encoder.h"

#include <stdexcept>

#include "store/code_stream.h"
#include "stream_format.h"
#include "symbol_table.h"

namespace qvk {
namespace {

constexpr uint64_t kAuxGapBytes = 8;

using Bytes = std::vector<uint8_t>;

void append(Bytes &stream, uint64_t value, uint32_t bytes) {
    for (uint32_t byte = bytes; byte-- > 0;) {
        stream.push_back(static_cast<uint8_t>(value >> 8 * byte));
    }
}

void append_header(Bytes &stream, uint64_t data_bytes, uint64_t symbol_count, StreamForm form) {
    stream.assign(std::begin(kStreamMagic), std::end(kStreamMagic));
    append(stream, 0, 1);  // the version
    append(stream, kFlagRequired, 1);
    append(stream, 0, kAuxCountAt - kFlagsAt - 1);
    append(stream, form == StreamForm::extended ? symbol_count : 0, 2);
    append(stream, data_bytes, 4);
    append(stream, symbol_count, 2);
}

void append_symbols(Bytes &stream, std::span<const Symbol> symbols, StreamForm form) {
    for (size_t at = 0; at < symbols.size(); at += 2) {
        const uint32_t second = at + 1 < symbols.size() ? symbols[at + 1].length : 0;
        append(stream, symbols[at].length << kSymbolLengthBits | second, 1);
    }
    if (form == StreamForm::extended) {
        stream.resize(stream.size() + kAuxBytesPerSymbol * symbols.size());
    }
    for (const Symbol &symbol : symbols) {
        for (uint32_t byte = 0; byte < symbol.length; ++byte) {
            append(stream, symbol.bytes >> 8 * byte, 1);
        }
    }
}

// Packs codes of one width behind the stream, a block at a time.
class CodeWriter {
  public:
    CodeWriter(Bytes &stream, uint32_t code_bits) : stream_(stream), code_bits_(code_bits) {
        block_.reserve(kBlockCodes);
    }

    void write(uint32_t code) {
        block_.push_back(code);
        if (block_.size() == kBlockCodes) {
            flush();
        }
    }

    // Between blocks it is called at whole bytes only; the last call leaves the last byte's rest zero.
    void flush() {
        count_ += block_.size();
        if (code_bits_ > 0) {
            const Bytes packed = pack_codes(block_, code_bits_);
            const auto end = packed.begin() + static_cast<int64_t>(code_bytes_for(block_.size(), code_bits_));
            stream_.insert(stream_.end(), packed.begin(), end);
        }
        block_.clear();
    }

    uint64_t count() const { return count_; }

  private:
    static constexpr size_t kBlockCodes = 8 << 10;  // at any width they fill whole bytes
    Bytes &stream_;
    const uint32_t code_bits_;
    std::vector<uint32_t> block_;
    uint64_t count_ = 0;
};

// Returns the number of codes.
uint64_t append_codes(Bytes &stream, std::span<const uint8_t> data, std::span<const Symbol> symbols,
                      const Progress &progress) {
    constexpr size_t kStepBytes = 1 << 20;
    const SymbolMatcher matcher(symbols);
    CodeWriter writer(stream, code_bits_for(symbols.size()));
    for (size_t at = 0; at < data.size();) {
        const size_t step_end = std::min(at + kStepBytes, data.size());
        at = matcher.take_apart(data, at, step_end,
                                [&](const SymbolMatcher::Entry &entry) { writer.write(entry.code); });
        if (progress) {
            progress(at);
        }
    }
    writer.flush();
    return writer.count();
}

}  // namespace

std::vector<uint8_t> encode_stream(std::span<const uint8_t> data, const SymbolSearch &search, StreamForm form,
                                   const Progress &progress) {
    if (data.size() > UINT32_MAX) {
        throw std::length_error("data of 4 GiB or more");
    }
    const std::vector<Symbol> symbols = choose_symbols(data, search, form);
    Bytes stream;
    append_header(stream, data.size(), symbols.size(), form);
    append_symbols(stream, symbols, form);
    const size_t code_count_at = stream.size();
    append(stream, 0, kCodeCountBytes);
    if (form == StreamForm::extended) {
        append(stream, (kAuxSpanBytes + kAuxGapBytes) << kAuxSpanShift, kAuxSpanBytes);
        stream.resize(stream.size() + kAuxGapBytes);
    }
    const uint64_t code_count = append_codes(stream, data, symbols, progress);
    for (uint32_t byte = 0; byte < kCodeCountBytes; ++byte) {
        stream[code_count_at + byte] = static_cast<uint8_t>(code_count >> 8 * (kCodeCountBytes - 1 - byte));
    }
    return stream;
}

}  // namespace qvk
