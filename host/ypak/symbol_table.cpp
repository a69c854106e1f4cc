// Choosing symbols. A table is improved in rounds: the sample is taken apart with it, which tells how many codes each
// of its symbols saves against the shorter ones, and how many each pair of neighbours would save if it were a symbol of
// its own. The best of both make the next table.
//
// Wide codes allow many symbols, narrow ones cost less each, so the widths are tried from the widest down, each with
// the best table of the width above to start from, until a width makes the stream larger than the one above.
#include "symbol_table.h"

#include <array>

#include "candidate_counts.h"
#include "stream_format.h"

namespace qvk {
namespace {

constexpr uint32_t kWidestCodeBits = 10;
constexpr uint64_t kShortSampleBytes = 16 << 10;
constexpr uint64_t kFewestSaved = 2;  // what occurs once tells nothing
constexpr uint64_t kFewestSymbols = (1 << kShortCodeBits) + 1;

// The longest symbol, in bytes, of which the data is so many copies; 0 if there is none.
uint32_t repeated_bytes(std::span<const uint8_t> data) {
    for (uint32_t length = kMaxSymbolBytes; length > 0; --length) {
        if (data.size() % length == 0 && std::equal(data.begin() + length, data.end(), data.begin())) {
            return length;
        }
    }
    return 0;
}

std::vector<Symbol> byte_symbols(std::span<const uint8_t> data) {
    std::array<bool, kByteValues> occurs{};
    for (const uint8_t byte : data) {
        occurs[byte] = true;
    }
    std::vector<Symbol> symbols;
    for (uint64_t byte = 0; byte < kByteValues; ++byte) {
        if (occurs[byte]) {
            symbols.push_back({byte, 1});
        }
    }
    return symbols;
}

// Pieces from all over the data, each somewhere in its own part, so that no period of the data can hide.
std::vector<uint8_t> take_sample(std::span<const uint8_t> data, uint64_t sample_bytes) {
    constexpr uint64_t kPieceBytes = 512;
    const uint64_t pieces = std::max<uint64_t>(sample_bytes / kPieceBytes, 1), part = data.size() / pieces;
    std::vector<uint8_t> sample;
    for (uint64_t piece = 0; piece < pieces; ++piece) {
        const uint64_t length = std::min(kPieceBytes, part);
        const uint64_t shift = (piece * 0x9E3779B97F4A7C15 >> 32) % (part - length + 1);
        const auto from = data.begin() + static_cast<int64_t>(piece * part + shift);
        sample.insert(sample.end(), from, from + static_cast<int64_t>(length));
    }
    return sample;
}

// A symbol takes some five bytes of the stream, so it has to be used a few times. Where there are too few codes for
// that, a wide start only finds symbols that happen to occur twice.
uint32_t worthwhile_code_bits(uint64_t data_bytes) {
    constexpr uint64_t kDataBytesPerSymbol = 32;
    return static_cast<uint32_t>(std::bit_width(std::max<uint64_t>(data_bytes / kDataBytesPerSymbol, 1)) - 1);
}

struct Table {
    std::vector<Symbol> symbols;
    double bits = 0;  // of a whole stream with these symbols
};

class Chooser {
  public:
    // The sample stands for so many times its length of data.
    Chooser(std::vector<Symbol> bytes, std::span<const uint8_t> sample, double scale, StreamForm form)
        : bytes_(std::move(bytes)),
          sample_(sample),
          scale_(scale),
          bits_per_symbol_(kSymbolLengthBits + (form == StreamForm::extended ? 8 * kAuxBytesPerSymbol : 0)) {}

    std::vector<Symbol> choose(uint32_t widest_code_bits, uint32_t rounds) {
        const uint32_t narrowest = code_bits_for(std::max<uint64_t>(bytes_.size(), kFewestSymbols));
        const uint32_t widest = std::max(widest_code_bits, narrowest);
        Table best = improve({bytes_, 0}, widest, rounds);
        for (uint32_t code_bits = widest; code_bits > narrowest; --code_bits) {
            Table narrower = improve(best, code_bits - 1, rounds / 2 + 1);
            if (narrower.bits > best.bits) {
                break;
            }
            best = std::move(narrower);
        }
        return std::move(best.symbols);
    }

  private:
    // The best of the tables that so many rounds make, none with wider codes. Some rounds make it worse before it gets
    // better, but not many.
    Table improve(const Table &start, uint32_t code_bits, uint32_t rounds) {
        constexpr uint32_t kPatience = 3;
        Table best, table = start;
        uint32_t best_round = 0;
        for (uint32_t round = 0;; ++round) {
            measure(table);
            const bool fits = code_bits_for(table.symbols.size()) <= code_bits;
            if (fits && (best.symbols.empty() || table.bits < best.bits)) {
                best = table;
                best_round = round;
            }
            if (round == rounds || round == best_round + kPatience) {
                return best;
            }
            table.symbols = next_symbols(code_bits);
        }
    }

    // Also counts what its symbols and their pairs save.
    void measure(Table &table) {
        const SymbolMatcher matcher(table.symbols);
        const uint64_t codes = count_uses(matcher, table.symbols.size());
        candidates_.clear();
        double table_bits = 0;
        for (size_t at = 0; at < table.symbols.size(); ++at) {
            const Symbol &symbol = table.symbols[at];
            table_bits += bits_of(symbol);
            if (symbol.length > 1 && uses_[at] > 0) {
                candidates_.add(symbol, uses_[at] * (codes_without(symbol, matcher) - 1));
            }
        }
        for (const size_t pair : used_pairs_) {
            const Symbol &first = table.symbols[pair / uses_.size()], &second = table.symbols[pair % uses_.size()];
            if (pair_uses_[pair] >= kFewestSaved && first.length + second.length <= kMaxSymbolBytes) {
                candidates_.add(joined(first, second), pair_uses_[pair]);
            }
        }
        const uint64_t symbol_count = std::max<uint64_t>(table.symbols.size(), kFewestSymbols);
        table.bits = table_bits + scale_ * static_cast<double>(codes * code_bits_for(symbol_count));
    }

    // Returns the number of codes that the sample takes.
    uint64_t count_uses(const SymbolMatcher &matcher, size_t symbol_count) {
        uses_.assign(symbol_count, 0);
        for (const size_t pair : used_pairs_) {
            pair_uses_[pair] = 0;
        }
        used_pairs_.clear();
        pair_uses_.resize(std::max(pair_uses_.size(), symbol_count * symbol_count));
        uint64_t codes = 0;
        size_t before = 0;
        matcher.take_apart(sample_, 0, sample_.size(), [&](const SymbolMatcher::Entry &entry) {
            const size_t pair = before * symbol_count + entry.code;
            if (codes > 0 && pair_uses_[pair]++ == 0) {
                used_pairs_.push_back(pair);
            }
            ++uses_[entry.code];
            ++codes;
            before = entry.code;
        });
        return codes;
    }

    // What a symbol would take if it weren't in the table.
    static uint64_t codes_without(const Symbol &symbol, const SymbolMatcher &matcher) {
        uint64_t codes = 0;
        for (uint32_t at = 0; at < symbol.length; ++codes) {
            const uint32_t left = symbol.length - at;
            at += matcher.longest(symbol.bytes >> 8 * at, at == 0 ? left - 1 : left).symbol.length;
        }
        return codes;
    }

    double bits_of(const Symbol &symbol) const { return bits_per_symbol_ + 8.0 * symbol.length; }

    std::vector<Symbol> next_symbols(uint32_t code_bits) const {
        std::vector<Candidate> paying;
        for (const Candidate &candidate : candidates_.slots()) {
            const double saved_bits = scale_ * static_cast<double>(candidate.saved_codes * code_bits);
            if (candidate.saved_codes >= kFewestSaved && saved_bits > bits_of(candidate.symbol)) {
                paying.push_back(candidate);
            }
        }
        const size_t room = (size_t{1} << code_bits) - bytes_.size();
        if (paying.size() > room) {
            const auto saves_more = [](const Candidate &a, const Candidate &b) {
                return a.saved_codes != b.saved_codes ? a.saved_codes > b.saved_codes : a.symbol < b.symbol;
            };
            std::nth_element(paying.begin(), paying.begin() + static_cast<int64_t>(room), paying.end(), saves_more);
            paying.resize(room);
        }
        std::vector<Symbol> symbols = bytes_;
        for (const Candidate &candidate : paying) {
            symbols.push_back(candidate.symbol);
        }
        return symbols;
    }

    const std::vector<Symbol> bytes_;
    const std::span<const uint8_t> sample_;
    const double scale_;
    const double bits_per_symbol_;  // besides its bytes
    // What the last table that was measured tells.
    std::vector<uint32_t> uses_;       // of each symbol
    std::vector<uint32_t> pair_uses_;  // by the first one's place times the symbols plus the second one's
    std::vector<size_t> used_pairs_;
    CandidateCounts candidates_;
};

}  // namespace

std::vector<Symbol> choose_symbols(std::span<const uint8_t> data, const SymbolSearch &search, StreamForm form) {
    if (data.empty()) {
        return {{0, 1}};
    }
    if (const uint32_t length = repeated_bytes(data); length > 0) {
        Symbol symbol{0, length};
        std::memcpy(&symbol.bytes, data.data(), length);
        return {symbol};
    }
    const uint64_t sample_bytes =
        std::min<uint64_t>(search.sample_bytes, std::max(data.size() / search.sampled_one_in, kShortSampleBytes));
    const std::vector<uint8_t> pieces =
        data.size() > sample_bytes ? take_sample(data, sample_bytes) : std::vector<uint8_t>();
    const std::span<const uint8_t> sample = pieces.empty() ? data : pieces;
    const double scale = static_cast<double>(data.size()) / static_cast<double>(sample.size());
    const uint32_t wanted = search.code_bits == 0 ? kWidestCodeBits : search.code_bits;
    const uint32_t widest = std::min({wanted, kWidestCodeBits, worthwhile_code_bits(data.size())});
    std::vector<Symbol> symbols = Chooser(byte_symbols(data), sample, scale, form).choose(widest, search.rounds);
    symbols.resize(std::max<uint64_t>(symbols.size(), kFewestSymbols), symbols.front());
    std::sort(symbols.begin(), symbols.end());
    return symbols;
}

}  // namespace qvk
