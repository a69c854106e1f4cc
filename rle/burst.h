// burst.h: a bit vector over runs becomes one over rows. Of the wanted runs, neighbours make one stretch of rows, and a
// stretch takes two words and what lies between them, whatever its length.
#pragma once

#include <bit>

#include "frame/result.h"

namespace kdzk {

// ORs ones into the rows from first to last of a result that was cleared.
inline void set_rows(uint64_t *res_bv, uint64_t first, uint64_t last) {
    const uint64_t first_word = first / kWordBits, last_word = last / kWordBits;
    const uint64_t from_first = ~uint64_t{0} << first % kWordBits;
    const uint64_t to_last = ~uint64_t{0} >> (kWordBits - 1 - last % kWordBits);
    if (first_word == last_word) [[likely]]
        return or_word(res_bv, first_word, from_first & to_last);
    or_word(res_bv, first_word, from_first);
    or_word(res_bv, last_word, to_last);
    if (last_word - first_word == 1)
        return;  // a call to fill nothing takes longer than all the rest
    uint8_t *at = reinterpret_cast<uint8_t *>(res_bv) + (first_word + 1) * sizeof(uint64_t);
    memset(at, 0xFF, (last_word - first_word - 1) * sizeof(uint64_t));
}

// The first rows of the runs that one word of the selection is about, and the end of the last. With lengths they are
// sums over all runs before, wanted or not; those behind the last wanted run aren't read.
template <typename Length>
struct RunLengths {
    const uint8_t *lengths;
    uint32_t starts[kWordBits + 1];
    uint32_t end = 0;

    explicit RunLengths(const kdzk_enc_ctx *enc) : lengths(static_cast<const uint8_t *>(enc->run_lens)) {}

    void enter(uint32_t first_run, uint32_t runs) {
        const uint8_t *at = lengths + uint64_t{first_run} * sizeof(Length);
        for (uint32_t run = 0; run < runs; ++run) {
            starts[run] = end;
            end += load_be<Length>(at + run * sizeof(Length));
        }
        starts[runs] = end;
    }
    uint32_t start_of(uint32_t run) const { return starts[run]; }
};

struct RunStarts {
    const uint8_t *all, *at;

    explicit RunStarts(const kdzk_enc_ctx *enc) : all(static_cast<const uint8_t *>(enc->run_offs_be)) {}

    void enter(uint32_t first_run, uint32_t) { at = all + uint64_t{first_run} * sizeof(uint32_t); }
    uint32_t start_of(uint32_t run) const { return load_be<uint32_t>(at + run * sizeof(uint32_t)); }
};

// The bits of a word of the selection that stand for runs.
inline uint64_t wanted_in_word(const uint64_t *wanted_bv, uint32_t word, uint32_t run_count) {
    const uint64_t wanted = load<uint64_t>(wanted_bv + word);
    const uint32_t runs = run_count - word * kWordBits;
    return runs < kWordBits ? wanted & low_bits(runs) : wanted;
}

// The run behind the last wanted one: nothing is looked at from there on.
inline uint32_t end_of_wanted(const uint64_t *wanted_bv, uint32_t run_count) {
    uint32_t word = uint32_t(words_for(run_count));
    while (word > 0)
        if (const uint64_t wanted = wanted_in_word(wanted_bv, --word, run_count))
            return word * kWordBits + uint32_t(std::bit_width(wanted));
    return 0;
}

// Returns the sum of the lengths of the wanted runs.
template <typename Runs>
[[gnu::always_inline]] inline uint32_t burst_runs(Runs runs, const uint64_t *wanted_bv, uint32_t run_count,
                                                  uint64_t *res_bv) {
    const uint32_t end_run = end_of_wanted(wanted_bv, run_count);
    uint32_t rows = 0;
    for (uint32_t first_run = 0; first_run < end_run; first_run += kWordBits) {
        uint64_t wanted = wanted_in_word(wanted_bv, first_run / kWordBits, end_run);
        runs.enter(first_run, end_run - first_run < kWordBits ? end_run - first_run : kWordBits);
        while (wanted != 0) {
            // The addition carries through the lowest stretch of ones and leaves a one behind it.
            const uint64_t behind = wanted + (wanted & -wanted);
            const uint32_t first = runs.start_of(uint32_t(std::countr_zero(wanted)));
            const uint32_t end = runs.start_of(uint32_t(std::countr_zero(behind)));
            wanted &= behind;
            rows += end - first;
            if (first != end)
                set_rows(res_bv, first, end - 1);
        }
    }
    return rows;
}

// What a kernel does once an assertion failed and the routine returned, kept on purpose.
enum class AfterFailure { give_up, go_on };

template <typename Runs, AfterFailure after_failure>
[[gnu::always_inline]] inline uint64_t burst(kdzk_vec *dst, const kdzk_vec *src, const kdzk_exec_ctx *ctx) {
    const auto fail_about_flag = [] { KDZK_FAIL_ASSERTION("KDZK_ENC_CTX_FLAG(KDZK_VEC_ENC_CTX(src), KDZK_RLE)"); };
    const kdzk_enc_ctx *enc = src->enc_ctx;
    if ((enc->flags & KDZK_RLE) == 0) {
        fail_about_flag();
        if (after_failure == AfterFailure::give_up)
            return store_count(dst, 0);
    }
    if (dst->res_bv == ctx->sel_bv) {
        KDZK_FAIL_ASSERTION("kdzk_bv_res != kdzk_bv_aux");
        if (after_failure == AfterFailure::give_up) {
            fail_about_flag();
            return store_count(dst, 0);
        }
    }
    clear_rows_from(dst->res_bv, 0, dst->row_count);
    return store_count(dst, burst_runs(Runs(enc), ctx->sel_bv, enc->run_count, dst->res_bv));
}

}  // namespace kdzk
