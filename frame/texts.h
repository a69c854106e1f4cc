// texts.h: the two static texts of a kernel that can decompress its payload, built from its name at compile time.
#pragma once

#include "frame/catalog.h"

namespace kdzk {

// A zero-terminated text as long as it has to be.
template <size_t kLength>
struct StaticText {
    char chars[kLength + 1]{};
};

template <size_t kTailLength>
constexpr size_t length_with(KernelId id, const char (&)[kTailLength]) {
    return name_of(id).length + kTailLength - 1;
}

template <size_t kLength>
constexpr StaticText<kLength> text_with(KernelId id, std::string_view tail) {
    StaticText<kLength> text;
    const ShortText name = name_of(id);
    for (size_t i = 0; i < kLength; ++i)
        text.chars[i] = i < name.length ? name.chars[i] : tail[i - name.length];
    return text;
}

inline constexpr char kLabelTail[] = ": vec1_decomp";
inline constexpr char kFailureTail[] = ": kdzk_ypak_decode failed";

// What the host's allocator is shown for the decompressed buffer, as in "kdzk_eq_dict_8bit: vec1_decomp".
template <KernelId id>
inline constexpr auto kLabel = text_with<length_with(id, kLabelTail)>(id, kLabelTail);

// What the host's raise is given, as in "kdzk_eq_dict_8bit: kdzk_ypak_decode failed".
template <KernelId id>
inline constexpr auto kFailure = text_with<length_with(id, kFailureTail)>(id, kFailureTail);

}  // namespace kdzk
