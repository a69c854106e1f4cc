#include "predicates/dict_1bit.h"

namespace kdzk {

void copy_bit_codes(const uint8_t *payload, uint64_t *res_bv, uint32_t rows) {
    uint8_t *result = reinterpret_cast<uint8_t *>(res_bv);
    const uint32_t blocks = rows / kBitBlockRows, done = blocks * kBitBlockRows;
    for (uint32_t block = 0; block < blocks; ++block) {
        const uint8_t *at = payload + block * kVectorBytes;
        prefetch(at + kPrefetchBytes);
        store_lanes(result + block * kVectorBytes, bits_reversed(load_lanes<8>(at)));
    }
    clear_rows_from(res_bv, done, rows);
    scan_tail<Dict<1, Form::plain>, Operator::ne>(payload, res_bv, done, rows, {0, 0});
}

uint32_t set_all_rows(uint64_t *res_bv, uint32_t rows) {
    if (rows == 0)
        return 0;
    const uint64_t last_word = (rows - 1) / kWordBits, last_rows = (rows - 1) % kWordBits;
    uint8_t *result = reinterpret_cast<uint8_t *>(res_bv);
    memset(result, 0xFF, last_word * sizeof(uint64_t));
    store(result + last_word * sizeof(uint64_t), ~uint64_t{0} >> (kWordBits - 1 - last_rows));
    return rows;
}

uint32_t decide_bits(BitResult decision, const uint8_t *payload, uint64_t *res_bv, uint32_t rows) {
    uint32_t count = 0;
    switch (decision) {
    case BitResult::nothing:
        clear_rows_from(res_bv, 0, rows);
        return 0;
    case BitResult::everything:
        return set_all_rows(res_bv, rows);
    case BitResult::codes:
        copy_bit_codes(payload, res_bv, rows);
        kdzk_lbiwvand_dydi(res_bv, &count, res_bv, res_bv, rows);
        return count;
    case BitResult::inverted_codes:
        copy_bit_codes(payload, res_bv, rows);
        kdzk_lbiwvnot_dydi(res_bv, &count, res_bv, rows);
        return count;
    }
    return count;
}

}  // namespace kdzk
