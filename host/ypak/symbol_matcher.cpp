// Building the runs of symbols.
#include "symbol_matcher.h"

namespace qvk {

SymbolMatcher::SymbolMatcher(std::span<const Symbol> symbols) : entries_(kByteValues), run_of_(kPairs) {
    std::vector<Entry> longer;
    for (uint32_t code = 0; code < symbols.size(); ++code) {
        const Entry entry{symbols[code], first_bytes_mask(symbols[code].length), code};
        if (entry.symbol.length == 1) {
            entries_[entry.symbol.bytes] = entry;
        } else {
            longer.push_back(entry);
        }
    }
    std::sort(longer.begin(), longer.end(), [](const Entry &a, const Entry &b) {
        const uint64_t pair_a = a.symbol.bytes % kPairs, pair_b = b.symbol.bytes % kPairs;
        return pair_a != pair_b ? pair_a < pair_b : a.symbol.length > b.symbol.length;
    });
    for (uint64_t pair = 0; pair < kPairs; ++pair) {
        run_of_[pair] = static_cast<uint16_t>(pair % kByteValues);
    }
    for (size_t at = 0; at < longer.size(); ++at) {
        const uint64_t pair = longer[at].symbol.bytes % kPairs;
        if (run_of_[pair] < kByteValues) {
            run_of_[pair] = static_cast<uint16_t>(entries_.size());
        }
        entries_.push_back(longer[at]);
        if (at + 1 == longer.size() || longer[at + 1].symbol.bytes % kPairs != pair) {
            entries_.push_back(entries_[pair % kByteValues]);
        }
    }
}

}  // namespace qvk
