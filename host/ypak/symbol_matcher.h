// symbol_matcher.h: takes bytes apart into symbols, always the longest that fits.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace qvk {

inline constexpr uint64_t kByteValues = 256;

struct Symbol {
    uint64_t bytes = 0;  // the first one in the lowest bits, zeros behind the last
    uint32_t length = 0;

    friend auto operator<=>(const Symbol &, const Symbol &) = default;
};

// The bits of a word that hold its first bytes. length is 1 to 8.
inline uint64_t first_bytes_mask(uint32_t length) { return ~uint64_t{0} >> (64 - 8 * length); }

// Together they have at most eight bytes.
inline Symbol joined(const Symbol &first, const Symbol &second) {
    return {first.bytes | second.bytes << 8 * first.length, first.length + second.length};
}

class SymbolMatcher {
  public:
    struct Entry {
        Symbol symbol;
        uint64_t mask;
        uint32_t code;  // the symbol's place in the table
    };

    // There must be a symbol of one byte for each byte value that will be matched.
    explicit SymbolMatcher(std::span<const Symbol> symbols);

    // word holds the next bytes, of which so many are there, one at least.
    const Entry &longest(uint64_t word, uint64_t left) const {
        const Entry *entry = &entries_[run_of_[word % kPairs]];
        while ((word & entry->mask) != entry->symbol.bytes || entry->symbol.length > left) {
            ++entry;
        }
        return *entry;
    }

    // Calls take(entry) for the symbols that begin at from up to end, excluded, and returns where the last one ends.
    template <typename Take>
    size_t take_apart(std::span<const uint8_t> data, size_t from, size_t end, Take take) const {
        while (from < end) {
            const size_t left = data.size() - from;
            uint64_t word = 0;
            if (left >= sizeof word) {
                std::memcpy(&word, &data[from], sizeof word);
            } else {
                std::memcpy(&word, &data[from], left);
            }
            const Entry &entry = longest(word, left);
            take(entry);
            from += entry.symbol.length;
        }
        return from;
    }

  private:
    static constexpr uint64_t kPairs = kByteValues * kByteValues;

    // Runs of symbols that share their first two bytes, the longest first, each closed by the symbol of the first byte
    // alone.
    std::vector<Entry> entries_;
    std::vector<uint16_t> run_of_;  // where the run of two bytes begins, by these bytes
};

}  // namespace qvk
