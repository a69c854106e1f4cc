#include "predicates/dict_1bit.h"

namespace kdzk {

namespace {

struct BitRows : EvenBlocks<kVectorBytes> {
    using EvenBlocks::EvenBlocks;
    static constexpr uint32_t kBlockRows = kBlockBytes * 8;

    uint32_t value_at(uint32_t row) const { return fetch_code<1>(payload, row); }
};

// R, or its complement: the payload with the bits of each byte in the opposite order, all of them flipped or none.
struct BitTest {
    Lanes<8> flip;

    BlockResult<BitRows::kBlockRows> whole_block(const uint8_t *block) const {
        const auto result = seen_as<64>(differing(bits_reversed(load_lanes<8>(block)), flip));
        return {{low_word(result), high_word(result)}};
    }
};

uint32_t fill_with_codes(const uint8_t *payload, uint64_t *res_bv, Masks masks, uint32_t rows, bool inverted) {
    BitRows codes(payload);
    const uint32_t blocks = rows / BitRows::kBlockRows, done = blocks * BitRows::kBlockRows;
    uint32_t count = scan_blocks(codes, res_bv, 0, masks, blocks, BitTest{spread(uint8_t(inverted ? 0xFF : 0))});
    clear_rows_from(res_bv, done, rows);
    count += scan_tail(codes, res_bv, masks, done, rows, [inverted](uint32_t code) { return (code != 0) != inverted; });
    if (const uint32_t used_bits = rows % kWordBits; inverted && used_bits != 0) {
        const uint32_t last_word = rows / kWordBits;
        const uint64_t unused = ~low_bits(used_bits);
        or_word(res_bv, last_word, masks.are_any() ? masks.applied(unused, res_bv, res_bv + last_word) : unused);
    }
    return count;
}

// All rows set that the masks leave, and nothing above the last.
uint32_t fill_with_ones(uint64_t *res_bv, Masks masks, uint32_t rows) {
    if (rows == 0)
        return 0;
    const uint32_t last_word = (rows - 1) / kWordBits, unused_bits = kWordBits - 1 - (rows - 1) % kWordBits;
    uint8_t *last = reinterpret_cast<uint8_t *>(res_bv) + last_word * sizeof(uint64_t);
    memset(res_bv, 0xFF, last_word * sizeof(uint64_t));
    store(last, ~uint64_t{0} >> unused_bits);
    return keep_rows_in(masks, res_bv, rows, rows);
}

}  // namespace

uint32_t fill_bit_result(BitResult decision, const uint8_t *payload, uint64_t *res_bv, Masks masks, uint32_t rows) {
    switch (decision) {
    case BitResult::codes:
        return fill_with_codes(payload, res_bv, masks, rows, false);
    case BitResult::inverted_codes:
        return fill_with_codes(payload, res_bv, masks, rows, true);
    case BitResult::everything:
        return fill_with_ones(res_bv, masks, rows);
    case BitResult::nothing:
        break;
    }
    clear_rows_from(res_bv, 0, rows);
    return 0;
}

// The decisions, worked out by hand: for each pair of keys (one key stands in both) the result of the plain and of the
// null form.
namespace decisions {

constexpr BitResult N = BitResult::nothing, R = BitResult::codes, I = BitResult::inverted_codes,
                    E = BitResult::everything;

template <Operator op>
constexpr bool are(uint32_t lower, uint32_t upper, BitResult plain, BitResult null) {
    return bit_result<op, Form::plain>({lower, upper}) == plain && bit_result<op, Form::null>({lower, upper}) == null;
}
template <Operator op>
constexpr bool are(uint32_t key, BitResult plain, BitResult null) {
    return are<op>(key, key, plain, null);
}

static_assert(are<Operator::eq>(0, I, N) && are<Operator::eq>(1, R, R) && are<Operator::eq>(2, R, R));
static_assert(are<Operator::ne>(0, R, R) && are<Operator::ne>(1, I, N) && are<Operator::ne>(2, R, N));
static_assert(are<Operator::lt>(0, N, N) && are<Operator::lt>(1, I, N) && are<Operator::lt>(2, I, N));
static_assert(are<Operator::gt>(0, R, R) && are<Operator::gt>(1, N, N) && are<Operator::gt>(2, N, N));
static_assert(are<Operator::le>(0, I, N) && are<Operator::le>(1, E, R) && are<Operator::le>(2, E, R));
static_assert(are<Operator::ge>(0, E, R) && are<Operator::ge>(1, R, R) && are<Operator::ge>(2, R, R));
static_assert(are<Operator::gt_lt>(0, 1, N, N) && are<Operator::gt_lt>(0, 2, N, N));
static_assert(are<Operator::gt_le>(0, 1, R, R) && are<Operator::gt_le>(0, 2, N, N) && are<Operator::gt_le>(1, 1, N, N));
static_assert(are<Operator::ge_lt>(0, 1, I, N) && are<Operator::ge_lt>(1, 2, N, N) && are<Operator::ge_lt>(0, 0, N, N));
static_assert(are<Operator::ge_le>(0, 0, I, N) && are<Operator::ge_le>(0, 1, E, R) && are<Operator::ge_le>(1, 1, R, R)
              && are<Operator::ge_le>(1, 0, N, N) && are<Operator::ge_le>(0, 2, N, N));

}  // namespace decisions

}  // namespace kdzk
