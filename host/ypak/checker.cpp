// Checking streams, in the order of their bytes. Sums are of 64 bits, so that no length in a stream can wrap one.
#include "checker.h"

#include <algorithm>
#include <array>
#include <vector>

#include "store/code_stream.h"
#include "stream_format.h"

namespace qvk {
namespace {

using std::to_string;

class Checker {
  public:
    explicit Checker(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    CheckedStream check(const Progress &progress) {
        CheckedStream result;
        result.fault = fault(progress);
        result.layout = layout_;
        return result;
    }

  private:
    // Each test relies on those before it. Returns the first one's complaint.
    std::string fault(const Progress &progress) {
        std::string found = header_fault();
        if (found.empty()) {
            found = symbols_fault();
        }
        if (found.empty()) {
            found = place_fault();
        }
        return found.empty() ? codes_fault(progress) : found;
    }

    std::string header_fault() {
        if (!holds(0, kSymbolLengthsAt)) {
            return "it ends in the header, after " + to_string(bytes_.size()) + " bytes";
        }
        if (!std::equal(std::begin(kStreamMagic), std::end(kStreamMagic), bytes_.begin())) {
            return "it doesn't begin with YPAK";
        }
        if (bytes_[kVersionAt] != 0) {
            return "version " + to_string(bytes_[kVersionAt]) + " isn't known";
        }
        const uint8_t flags = bytes_[kFlagsAt];
        if ((flags & kFlagRequired) == 0 || (flags & kFlagsRefused) != 0) {
            return "flags " + to_string(flags) + " aren't known";
        }
        layout_.extended = static_cast<int16_t>(number(kAuxCountAt, 2)) > 0;
        layout_.uncompressed_length = number(kUncompressedLengthAt, 4);
        layout_.symbol_count = number(kSymbolCountAt, 2);
        layout_.symbol_lengths_at = kSymbolLengthsAt;
        if (layout_.symbol_count == 0 || layout_.symbol_count > kMaxSymbols) {
            return to_string(layout_.symbol_count) + " symbols, not 1 to " + to_string(kMaxSymbols);
        }
        layout_.code_bits = code_bits_for(layout_.symbol_count);
        return "";
    }

    std::string symbols_fault() {
        const uint64_t lengths_bytes = (layout_.symbol_count + 1) / 2;
        if (!holds(kSymbolLengthsAt, lengths_bytes)) {
            return "it ends in the symbols' lengths";
        }
        layout_.symbol_bytes_at = kSymbolLengthsAt + lengths_bytes
                                  + (layout_.extended ? kAuxBytesPerSymbol * uint64_t{layout_.symbol_count} : 0);
        symbols_end_ = layout_.symbol_bytes_at;
        for (uint32_t symbol = 0; symbol < layout_.symbol_count; ++symbol) {
            const uint8_t pair = bytes_[kSymbolLengthsAt + symbol / 2];
            const uint8_t length = symbol % 2 == 0 ? pair >> kSymbolLengthBits : pair & 0x0F;
            if (length == 0 || length > kMaxSymbolBytes) {
                return "symbol " + to_string(symbol) + " has " + to_string(length) + " bytes, not 1 to "
                       + to_string(kMaxSymbolBytes);
            }
            lengths_[symbol] = length;
            symbols_end_ += length;
        }
        return holds(0, symbols_end_) ? "" : "it ends in the symbols";
    }

    // Finds the codes.
    std::string place_fault() {
        if (!holds(symbols_end_, kCodeCountBytes)) {
            return "it ends in the number of codes";
        }
        layout_.code_count = number(symbols_end_, kCodeCountBytes);
        layout_.codes_at = symbols_end_ + kCodeCountBytes;
        if (layout_.extended) {
            if (!holds(layout_.codes_at, kAuxSpanBytes)) {
                return "it ends in the distance to the codes";
            }
            const uint32_t span = number(layout_.codes_at, kAuxSpanBytes) >> kAuxSpanShift;
            if (span < kAuxSpanBytes) {
                return "the distance to the codes is " + to_string(span) + " bytes, within its own field";
            }
            layout_.codes_at += span;
        }
        layout_.size = layout_.codes_at + code_bytes_for(layout_.code_count, layout_.code_bits);
        if (!holds(0, layout_.size)) {
            return "it ends after " + to_string(bytes_.size()) + " of " + to_string(layout_.size) + " bytes";
        }
        return "";
    }

    std::string codes_fault(const Progress &progress) {
        const bool is_short = layout_.code_bits > 0 && layout_.code_bits <= kShortCodeBits;
        if (is_short && layout_.code_count > kMaxShortCodes) {
            return to_string(layout_.code_count) + " codes of " + to_string(layout_.code_bits) + " bits, more than "
                   + to_string(kMaxShortCodes);
        }
        if (layout_.code_bits == 0) {
            decoded_bytes_ = uint64_t{layout_.code_count} * lengths_[0];
        } else if (const std::string found = code_fault(progress); !found.empty()) {
            return found;
        }
        if (decoded_bytes_ != layout_.uncompressed_length) {
            return "its codes give " + to_string(decoded_bytes_) + " bytes, the header says "
                   + to_string(layout_.uncompressed_length);
        }
        return "";
    }

    // A code is read with what lies behind it, so the last ones, from a byte's start on, are copied to where they have
    // something behind them.
    std::string code_fault(const Progress &progress) {
        constexpr uint64_t kStepCodes = 1 << 20, kCodesPerByteStart = 8;
        const std::span<const uint8_t> codes = bytes_.subspan(layout_.codes_at, layout_.size - layout_.codes_at);
        const uint64_t last = layout_.code_count - std::min<uint64_t>(layout_.code_count, 8 * KDZK_DICT_SLACK_BYTES);
        const uint64_t copied_from = last / kCodesPerByteStart * kCodesPerByteStart;
        for (uint64_t at = 0; at < copied_from; at += kStepCodes) {
            if (progress) {
                progress(layout_.codes_at + at * layout_.code_bits / 8);
            }
            const uint64_t step = std::min(kStepCodes, copied_from - at);
            if (std::string found = add_codes(&codes[at * layout_.code_bits / 8], step, at); !found.empty()) {
                return found;
            }
        }
        std::vector<uint8_t> tail(codes.begin() + static_cast<int64_t>(copied_from * layout_.code_bits / 8),
                                  codes.end());
        tail.resize(tail.size() + KDZK_DICT_SLACK_BYTES);
        if (progress) {
            progress(layout_.size);
        }
        return add_codes(tail.data(), layout_.code_count - copied_from, copied_from);
    }

    // first: the number of codes before these.
    std::string add_codes(const uint8_t *codes, uint64_t count, uint64_t first) {
        for (uint64_t at = 0; at < count; ++at) {
            const uint32_t code = code_at(codes, layout_.code_bits, at);
            if (code >= layout_.symbol_count) {
                return "code " + to_string(first + at) + " is " + to_string(code) + ", of "
                       + to_string(layout_.symbol_count) + " symbols";
            }
            decoded_bytes_ += lengths_[code];
        }
        return "";
    }

    bool holds(uint64_t at, uint64_t length) const { return at <= bytes_.size() && length <= bytes_.size() - at; }

    uint32_t number(uint64_t at, uint32_t length) const {
        uint32_t value = 0;
        for (const uint8_t byte : bytes_.subspan(at, length)) {
            value = value << 8 | byte;
        }
        return value;
    }

    const std::span<const uint8_t> bytes_;
    StreamLayout layout_;
    std::array<uint8_t, kMaxSymbols> lengths_{};
    uint64_t symbols_end_ = 0, decoded_bytes_ = 0;
};

}  // namespace

CheckedStream check_stream(std::span<const uint8_t> bytes, const Progress &progress) {
    return Checker(bytes).check(progress);
}

}  // namespace qvk
