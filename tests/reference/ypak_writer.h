// ypak_writer.h: writes YPAK streams from symbols and codes, since the library only reads them. Every header field can
// be set to what a test needs, also to what a reader must refuse.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reference/kernels.h"

namespace reference {

inline constexpr uint8_t kUnread = 0xA5;  // stands wherever a reader must not look

inline void append_be(std::vector<uint8_t> &out, uint64_t value, int bytes) {
    for (int byte = bytes - 1; byte >= 0; --byte)
        out.push_back(static_cast<uint8_t>(value >> (8 * byte)));
}

struct YpakStream {
    std::vector<std::string> symbols;
    std::vector<uint64_t> codes;
    std::string magic = "YPAK";
    uint8_t version = 0;
    uint8_t flags = 2;
    int16_t aux_count = 0;       // above 0: the extended form
    uint32_t aux_gap_bytes = 0;  // extended form: unread bytes before the codes
    uint32_t excess_length = 0;  // added to uncompressed_length, to make it wrong

    std::string decoded() const;
    uint32_t code_bits() const;
    std::vector<uint8_t> bytes() const;
};

inline std::string YpakStream::decoded() const {
    std::string text;
    for (const uint64_t code : codes)
        text += symbols[code];
    return text;
}

inline uint32_t YpakStream::code_bits() const {
    uint32_t bits = 0;
    while ((uint64_t{1} << bits) < symbols.size())
        ++bits;
    return bits;
}

inline std::vector<uint8_t> YpakStream::bytes() const {
    std::vector<uint8_t> out(magic.begin(), magic.end());
    out.insert(out.end(), {version, flags, kUnread, kUnread, kUnread, kUnread});
    append_be(out, static_cast<uint16_t>(aux_count), 2);
    append_be(out, decoded().size() + excess_length, 4);
    append_be(out, symbols.size(), 2);
    for (size_t i = 0; i < symbols.size(); i += 2) {
        const size_t second = i + 1 < symbols.size() ? symbols[i + 1].size() : kUnread;
        out.push_back(static_cast<uint8_t>(symbols[i].size() * 16 + second % 16));
    }
    if (aux_count > 0)
        out.insert(out.end(), 2 * symbols.size(), kUnread);
    for (const std::string &symbol : symbols)
        out.insert(out.end(), symbol.begin(), symbol.end());
    append_be(out, codes.size(), 4);
    if (aux_count > 0) {
        append_be(out, (uint64_t{4} + aux_gap_bytes) * 128 + kUnread % 128, 4);
        out.insert(out.end(), aux_gap_bytes, kUnread);
    }
    const std::vector<uint8_t> packed = write_codes(codes, code_bits());
    out.insert(out.end(), packed.begin(), packed.end());
    return out;
}

}  // namespace reference
