// iterate.cpp: walking a bit vector row by row, over ones or zeros, one at a time or in batches.
//
// The record's fields are the interface: they hold after every call what a bit-by-bit search from bit_pos upwards would
// have left. The search itself is the processor's bit scan; the word isn't zero when it runs, so BSF will do. Batches
// decide by how many ones some words have, not by where: a loop that ends with a word's ones guesses its end wrong.
#include <algorithm>

#include "bitvec/bits.h"
#include "frame/lane_compress.h"
#include "frame/platform.h"
#include "lanes.h"

namespace kdzk {

namespace {

enum class Family : bool { bytes, words };  // lbiv, lbiwv
enum class Target : bool { ones, zeros };

constexpr uint64_t end_marker(Family family) { return family == Family::bytes ? KDZK_LBIV_END : KDZK_LBIWV_END; }

// Rows are compared as signed numbers, as hosts know them.
bool lies_below(uint32_t row, uint32_t nbits) { return int32_t(row) < int32_t(nbits); }

// The bits of the word at next that can be of interest. The byte-granular form reads no further than the vector's last
// byte; its missing bytes are zero, or ones when zeros are walked, and lie above nbits.
template <Family family, Target target>
uint64_t word_at_next(const kdzk_lbiv_ictx &walk) {
    const uint32_t rows_left = walk.nbits - walk.word_base;
    const bool is_cut = family == Family::bytes && rows_left < kWordBits;
    const uint64_t word = is_cut ? load_first_bytes(walk.next, (rows_left + 7) / 8) : load<uint64_t>(walk.next);
    return target == Target::zeros ? ~word : word;
}

// Moves on to the next word with a bit to deliver. False at the end of the vector.
template <Family family, Target target>
[[gnu::always_inline]] inline bool find_word(kdzk_lbiv_ictx &walk) {
    for (;;) {
        walk.word_base += kWordBits;
        // A walk over the most rows there can be ends at 2^31, which is a negative number.
        if (!lies_below(walk.word_base, walk.nbits) || int32_t(walk.word_base) < 0)
            return false;
        walk.cur = word_at_next<family, target>(walk);
        ++walk.next;
        if (walk.cur != 0)
            return true;
        walk.bit_pos = 0;
    }
}

// Takes the next bit out of the walk and puts its row in *row. False where the walk ends, also if the bit taken lies
// above the vector's last row.
template <Family family, Target target>
[[gnu::always_inline]] inline bool take_row(kdzk_lbiv_ictx &walk, uint32_t *row) {
    if (walk.cur == 0 && !find_word<family, target>(walk))
        return false;
    walk.bit_pos = uint64_t(std::countr_zero(walk.cur));
    walk.cur &= walk.cur - 1;
    *row = walk.word_base + uint32_t(walk.bit_pos);
    return lies_below(*row, walk.nbits);
}

// What batches look at: four words, the first of them and those behind it, and whether these have few ones altogether.
constexpr uint32_t kWordsAtATime = 4, kWordsBehind = kWordsAtATime - 1, kFewOnes = 16;

constexpr uint32_t kRowsAByte = 8;

// Stores the rows of a word's ones, and something in up to eight entries behind them. What moves byte lanes to the
// front is a list of the places of ones.
[[gnu::always_inline]] inline void store_rows_by_bytes(uint64_t word, uint32_t first_row, uint32_t *out) {
    uint8_t *at = reinterpret_cast<uint8_t *>(out);
    Lanes<32> row = spread(first_row);
#pragma GCC unroll 8
    for (uint32_t byte = 0; byte < sizeof word; ++byte) {
        const auto bits = uint8_t(word >> 8 * byte);
        const Lanes<16> places = widen_low(load_low_half<8>(kEightLaneCompress<1, 1>[bits].data()));
        store_lanes(at, plus(row, widen_low(places)));
        store_lanes(at + kVectorBytes, plus(row, widen_high(places)));
        at += sizeof *out * ones_in(bits);
        row = plus(row, spread(kRowsAByte));
    }
}

// Stores the rows of a word and of those behind it, up to the last one with a bit: `ones` says how many rows. A turn
// stores a row, or what the next turn overwrites where the word is empty, and moves on from a word's last one. There is
// no branch but the loop's own.
inline void store_rows_by_ones(uint64_t word, const uint64_t *next, uint32_t first_row, uint32_t *out, uint32_t ones) {
    constexpr uint64_t top_bit = uint64_t{1} << (kWordBits - 1);
    for (uint32_t stored = 0; stored < ones;) {
        out[stored] = first_row + uint32_t(std::countr_zero(word | top_bit));
        stored += word != 0;
        word &= word - 1;
        const uint64_t is_empty = word == 0;
        word |= load<uint64_t>(next) & -is_empty;
        next += is_empty;
        first_row += kWordBits & uint32_t(-is_empty);
    }
}

bool are_empty(const uint64_t *words) {
    uint64_t bits = 0;
    for (uint32_t i = 0; i < kWordsAtATime; ++i)
        bits |= load<uint64_t>(words + i);
    return bits == 0;
}

// Takes rows of whole words while four more lie behind in the vector, and returns how many. The next row is in the
// walk's word or behind it. One row of the room is left to the caller, who leaves the fields as a single step does.
//
//     a word whose three next ones deliver eight rows more    by bytes
//     eight words without a one                               passed over, with all of that kind behind them
//     four words with few ones                                one by one, across words
//     another word with more than a few                       by bytes, aside, since these end with other rows
//     else, and where there is no room                        a word one by one, as far as there is room
//
// Nothing is stored but rows that are delivered: what a byte stores behind its own rows, the eight next ones overwrite.
inline uint64_t take_words(kdzk_lbiv_ictx &walk, uint32_t *out, uint64_t max) {
    const int64_t rows_left = int64_t{int32_t(walk.nbits)} - int32_t(walk.word_base);
    const int64_t words = int32_t(walk.word_base) < 0 ? 0 : rows_left / int64_t{kWordBits} - 1 - kWordsBehind;
    const auto first_row = [base = walk.word_base, first = walk.next](const uint64_t *behind) {
        return base + kWordBits * uint32_t(behind - first);
    };
    uint64_t taken = 0, word = walk.cur;
    const uint64_t *next = walk.next;
    for (const uint64_t *const end = next + std::max<int64_t>(words, 0); next < end;) {
        const uint32_t ones = ones_in(word);
        uint32_t ones_behind = 0;
#pragma GCC unroll 3
        for (uint32_t i = 0; i < kWordsBehind; ++i)
            ones_behind += ones_in(load<uint64_t>(next + i));
        const uint32_t all_ones = ones + ones_behind;
        const uint64_t room = max - 1 - taken;
        if (all_ones > kFewOnes && ones > 0 && ones_behind >= kRowsAByte && room >= ones + kRowsAByte) {
            store_rows_by_bytes(word, first_row(next), out + taken);
            taken += ones;
        } else if (end - next > kWordsAtATime && all_ones == 0 && are_empty(next + kWordsBehind)) {
            next += kWordsBehind + kWordsAtATime;
            while (end - next > kWordsAtATime && are_empty(next))
                next += kWordsAtATime;
        } else if (all_ones <= kFewOnes && all_ones <= room) {
            store_rows_by_ones(word, next, first_row(next), out + taken, all_ones);
            taken += all_ones;
            next += kWordsBehind;
        } else if (ones > kRowsAByte && ones <= room) {
            uint32_t rows[kWordBits + kRowsAByte];
            store_rows_by_bytes(word, first_row(next), rows);
            memcpy(out + taken, rows, sizeof *rows * ones);
            taken += ones;
        } else {
            for (const uint64_t stop = taken + std::min<uint64_t>(ones, room); taken < stop; word &= word - 1)
                out[taken++] = first_row(next) + uint32_t(std::countr_zero(word));
            if (taken + 1 == max)
                break;
        }
        word = load<uint64_t>(next++);
    }
    // The field tells of the word before only if nothing was taken from this one, which is empty then.
    if (next != walk.next)
        walk.bit_pos = 0;
    walk.cur = word;
    walk.word_base = first_row(next);
    walk.next = next;
    return taken;
}

template <Family family, Target target>
uint64_t next_row(kdzk_lbiv_ictx *ictx) {
    uint32_t row;
    return take_row<family, target>(*ictx, &row) ? row : end_marker(family);
}

// Works on a copy of the record that lives in registers. It is read and written field by field: as wider pieces it
// would wait at the next call for the fields' stores to retire, longer than a batch takes.
template <Family family>
uint64_t take_rows(kdzk_lbiv_ictx *ictx, uint32_t *out, uint64_t max) {
    if (max == 0)
        return 0;
    kdzk_lbiv_ictx walk = {ictx->next, ictx->nbits, ictx->word_base, ictx->bit_pos, ictx->cur};
    uint64_t taken = take_words(walk, out, max);
    for (uint32_t row; taken < max && take_row<family, Target::ones>(walk, &row); ++taken)
        out[taken] = row;
    ictx->next = walk.next;
    ictx->word_base = walk.word_base;
    ictx->bit_pos = walk.bit_pos;
    ictx->cur = walk.cur;
    return taken;
}

}  // namespace

}  // namespace kdzk

using namespace kdzk;

void kdzk_lbiv_ictx_ini2_dydi(kdzk_lbiv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint32_t invert,
                              uint64_t start) {
    const uint64_t *word = bv + start / kWordBits, bit = start % kWordBits;
    const uint64_t bits = uint8_t(invert) == 1 ? ~load<uint64_t>(word) : load<uint64_t>(word);
    *ictx = {
        .next = word + 1,
        .nbits = uint32_t(nbits),
        .word_base = uint32_t(start - bit),
        .bit_pos = bit,
        .cur = bits & ~low_bits(bit),
    };
}
KDZK_SAME_AS(kdzk_lbiv_ictx_ini2_dydi)
void kdzk_lbiwv_ictx_ini2_dydi(kdzk_lbiv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint32_t invert,
                               uint64_t start);

uint64_t kdzk_lbiviter_dydi(kdzk_lbiv_ictx *ictx) { return next_row<Family::bytes, Target::ones>(ictx); }
uint64_t kdzk_lbiwviter_dydi(kdzk_lbiv_ictx *ictx) { return next_row<Family::words, Target::ones>(ictx); }
uint64_t kdzk_lbiviter_clr_dydi(kdzk_lbiv_ictx *ictx) { return next_row<Family::bytes, Target::zeros>(ictx); }
uint64_t kdzk_lbiwviter_clr_dydi(kdzk_lbiv_ictx *ictx) { return next_row<Family::words, Target::zeros>(ictx); }

uint64_t kdzk_lbivones_dydi(kdzk_lbiv_ictx *ictx, uint32_t *out, uint64_t max) {
    return take_rows<Family::bytes>(ictx, out, max);
}
uint64_t kdzk_lbiwvones_dydi(kdzk_lbiv_ictx *ictx, uint32_t *out, uint64_t max) {
    return take_rows<Family::words>(ictx, out, max);
}

uint64_t kdzk_lbivrun_dydi(kdzk_lbiv_ictx *) { return KDZK_LBIV_END; }
uint64_t kdzk_lbiwvrun_dydi(kdzk_lbiv_ictx *) { return KDZK_LBIWV_END; }
uint64_t kdzk_lbivruns_dydi(kdzk_lbiv_ictx *) { return 0; }
KDZK_SAME_AS(kdzk_lbivruns_dydi) uint64_t kdzk_lbiwvruns_dydi(kdzk_lbiv_ictx *ictx);
