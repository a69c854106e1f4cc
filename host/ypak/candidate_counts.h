// candidate_counts.h: how many codes each of many symbols would save. A hash table that only grows.
#pragma once

#include <vector>

#include "symbol_matcher.h"

namespace qvk {

struct Candidate {
    Symbol symbol;
    uint64_t saved_codes = 0;
};

class CandidateCounts {
  public:
    void add(const Symbol &symbol, uint64_t saved_codes) {
        Candidate *slot = find(symbol);
        if (slot->symbol.length == 0) {
            if (2 * ++used_ > slots_.size()) {
                grow();
                slot = find(symbol);
            }
            slot->symbol = symbol;
        }
        slot->saved_codes += saved_codes;
    }

    void clear() {
        std::fill(slots_.begin(), slots_.end(), Candidate{});
        used_ = 0;
    }

    // Empty ones too, of length 0.
    std::span<const Candidate> slots() const { return slots_; }

  private:
    // The symbol's slot, or the empty one that it would take.
    Candidate *find(const Symbol &symbol) {
        const uint64_t mixed = (symbol.bytes ^ symbol.length) * 0x9E3779B97F4A7C15;
        size_t at = mixed >> 32;
        while (true) {
            Candidate &slot = slots_[at++ & (slots_.size() - 1)];
            if (slot.symbol.length == 0 || slot.symbol == symbol) {
                return &slot;
            }
        }
    }

    void grow() {
        std::vector<Candidate> old(2 * slots_.size());
        old.swap(slots_);
        for (const Candidate &candidate : old) {
            if (candidate.symbol.length != 0) {
                *find(candidate.symbol) = candidate;
            }
        }
    }

    std::vector<Candidate> slots_ = std::vector<Candidate>(1 << 12);  // a power of two, at least half of them empty
    size_t used_ = 0;
};

}  // namespace qvk
