// predicates.cpp: rates of the predicate kernels, found by walking the dispatch table so that a new one is measured the
// day it gets its slot.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "families.h"
#include "kdzk.h"
#include "rates.h"

namespace {

// A kernel over one kind of column.
struct Subject {
    uint32_t slot;
    uint32_t row_bits;  // on average, if rows differ in length

    uint32_t kernel_class() const { return slot / 32 % 4; }
    uint32_t operation() const { return slot % 32; }
    bool is_plain_form() const { return slot / 128 < 32; }
    bool is_dynp() const { return kernel_class() == KDZK_CLASS_DYNP; }

    // The width that the kernel's name has.
    uint32_t width() const {
        uint32_t width = 1;
        while (kdzk_slot(KDZK_CLASS_DICT, width, 0, KDZK_FORM_PLAIN) / 128 % 32 != slot / 128 % 32)
            ++width;
        return width;
    }
    // Of the numbers that are compared.
    uint32_t value_bits() const { return is_dynp() ? width() : row_bits; }

    std::string name() const {
        const std::string kernel = kdzk_dispatch_names[slot];
        const bool is_short = kernel_class() == KDZK_CLASS_FIXED && row_bits < width();
        return is_short ? kernel + ":" + std::to_string(row_bits) : kernel;
    }
    Comparison comparison() const {
        if (operation() == KDZK_OP_EQ || operation() == KDZK_OP_NE)
            return Comparison::equality;
        return operation() < KDZK_OP_GT_LT ? Comparison::one_bound : Comparison::two_bounds;
    }
    // At 8 bits rows have one length, so tz forms compare as plain ones do.
    PlainForm form() const {
        if (is_plain_form() || (kernel_class() == KDZK_CLASS_FIXED && width() == 8))
            return PlainForm::plain;
        return kernel_class() == KDZK_CLASS_DICT ? PlainForm::null : PlainForm::tz;
    }
    std::string plain_name() const {
        constexpr const char *names[] = {"plain_eq_", "plain_lt_", "plain_ge_le_"}, *forms[] = {"", "_null", "_tz"};
        return names[size_t(comparison())] + std::string(is_dynp() ? "dynp_" : "") + std::to_string(value_bits())
               + "bit" + forms[size_t(form())];
    }
    PlainScan plain_scan(const PlainLoops &loops) const {
        return is_dynp()                           ? loops.dynp_scan(width(), comparison(), form())
               : kernel_class() == KDZK_CLASS_DICT ? loops.code_scan(width(), comparison(), form())
                                                   : loops.fixed_scan(row_bits, comparison(), form());
    }
    // Keys such that some rows pass and some don't: half of them by one bound, the middle half by two. Where codes have
    // one bit, no keys do that for gt_lt, nor these for ge_lt.
    PlainKeys keys(uint32_t op) const {
        const uint64_t largest = ~uint64_t{0} >> (64 - value_bits());
        if (op < KDZK_OP_GT_LT)
            return {largest / 2 + (op != KDZK_OP_LE && op != KDZK_OP_GT), 0, 0, 0};
        return {largest / 4 + (op == KDZK_OP_GE_LT || op == KDZK_OP_GE_LE), largest - largest / 4, 0, 0};
    }
    // A plain loop stands for several operators. Where 0 is NULL and 1 the only other code, the bound lets that pass.
    PlainKeys plain_keys() const {
        PlainKeys keys = this->keys(comparison() == Comparison::two_bounds ? KDZK_OP_GE_LE : KDZK_OP_LT);
        keys.lower += form() == PlainForm::null && value_bits() == 1 && comparison() == Comparison::one_bound;
        return keys;
    }
    // A multiple of 64, as plain loops want.
    size_t rows_in(size_t bytes) const {
        // Rows of random lengths may take a little more than they do on average.
        const size_t rows = bytes * 8 / row_bits;
        return std::min(is_dynp() ? rows - rows / 64 : rows, (size_t{1} << 31) - 1) / 64 * 64;
    }
    Work work_in(size_t bytes) const { return {rows_in(bytes) * row_bits / 8, rows_in(bytes)}; }
};

// Length fields of random rows: valid ones, so that at 64 bits a field's top bit is clear.
std::vector<uint8_t> random_lens(const Subject &subject, size_t rows) {
    constexpr size_t slack = 16;
    std::vector<uint8_t> lens(rows * (subject.width() / 16) / 8 + slack);
    for (size_t i = 0; i < lens.size(); ++i)
        lens[i] = uint8_t(shared_bytes()[i] & (subject.width() == 64 ? 0x77 : 0xFF));
    return lens;
}

constexpr uint32_t kSelections = 64;

// One kernel over the shared bytes as its payload.
struct Scan {
    uint32_t slot;
    uint64_t lower, upper;
    std::vector<uint64_t> result, selection, filter;
    std::vector<uint8_t> lens;
    uint8_t key_field = 0;
    kdzk_enc_ctx encoding = {};
    kdzk_vec source = {}, destination = {};
    kdzk_pred lower_key = {}, upper_key = {};
    kdzk_exec_ctx context = {};

    Scan(const Subject &subject, uint32_t rows, uint32_t selected_one_in) : slot(subject.slot), result(rows / 64 + 1) {
        const PlainKeys keys = subject.keys(subject.operation());
        lower = key_of(subject, keys.lower);
        upper = key_of(subject, keys.upper);
        if (subject.kernel_class() != KDZK_CLASS_DICT && subject.width() > 8)
            lens = random_lens(subject, rows);
        encoding.width = uint8_t(subject.row_bits);
        source.data = const_cast<uint8_t *>(shared_bytes());
        source.lens = lens.data();
        source.enc_ctx = &encoding;
        source.row_count = destination.row_count = rows;
        destination.res_bv = result.data();
        lay_key(lower_key, lower);
        lay_key(upper_key, upper);
        if (selected_one_in == 0)
            return;
        selection = random_bits(uint64_t{rows} * kSelections, selected_one_in);
        context.sel_bv = selection.data();
        context.selective = 1;
    }
    Scan(const Scan &) = delete;

    // Each call has another selection: a processor learns the branches over one that comes again and again.
    void take_next_selection() {
        const uint64_t *next = context.sel_bv + source.row_count / 64;
        context.sel_bv = next == selection.data() + selection.size() ? selection.data() : next;
    }

    // Codes are numbers, all other keys big-endian strings.
    static uint64_t key_of(const Subject &subject, uint64_t value) {
        if (subject.kernel_class() == KDZK_CLASS_DICT)
            return value;
        return __builtin_bswap64(value << (64 - subject.value_bits()));
    }
    void lay_key(kdzk_pred &key, uint64_t &bytes) {
        key.data = &bytes;
        key.lens = &key_field;
        key.enc_ctx = &encoding;
    }

    void operator()() {
        const kdzk_kernel kernel = kdzk_dispatch_table[slot];
        if (slot % 32 >= KDZK_OP_GT_LT)
            kernel.range(&destination, &source, &lower_key, &upper_key, &context);
        else
            kernel.key(&destination, &source, &lower_key, &context);
        benchmark::ClobberMemory();
        if (context.selective)
            take_next_selection();
    }
};

void register_plain_scan(const WorkingSet &set, const Subject &subject) {
    const Work work = subject.work_in(set.bytes);
    measure_plain(subject.plain_name() + "/" + set.name, "read/" + set.name, work, [=](const PlainLoops &loops) {
        const PlainScan scan = subject.plain_scan(loops);
        const PlainKeys keys = subject.plain_keys();
        const auto result = std::make_shared<std::vector<uint64_t>>(work.rows / 64);
        const auto lens = std::make_shared<std::vector<uint8_t>>();
        if (subject.is_dynp() || subject.form() == PlainForm::tz)
            *lens = random_lens(subject, work.rows);
        return [=] {
            const PlainRows rows = {shared_bytes(), lens->data(), uint32_t(work.rows)};
            benchmark::DoNotOptimize(scan(rows, keys, result->data()));
            benchmark::ClobberMemory();
        };
    });
}

// A selection of one row in so many, or none. Rows a second are rows tested.
void measure_scan(const std::string &set, const Subject &subject, Work work, uint32_t selected_one_in = 0) {
    const Work tested = {work.bytes, selected_one_in == 0 ? work.rows : work.rows / selected_one_in};
    const auto body = [=] {
        const auto scan = std::make_shared<Scan>(subject, uint32_t(work.rows), selected_one_in);
        return [scan] { (*scan)(); };
    };
    measure(subject.name() + "/" + set, "read/" + set, tested, body, subject.plain_name() + "/" + set);
}

// Scans of bytes under one mask, the source's filter, and under two, a selection besides.
void register_masked_scans(const WorkingSet &set) {
    for (const uint32_t operation : {KDZK_OP_EQ, KDZK_OP_GE_LE})
        for (const bool two_masks : {false, true}) {
            const Subject subject = {kdzk_slot(KDZK_CLASS_DICT, 8, operation, KDZK_FORM_PLAIN), 8};
            const Work work = subject.work_in(set.bytes);
            const std::string name = subject.name() + (two_masks ? ":2_masks/" : ":1_mask/") + set.name;
            measure(name, "read/" + set.name, work, [=] {
                const auto scan = std::make_shared<Scan>(subject, uint32_t(work.rows), 0);
                scan->filter.assign(shared_words(), shared_words() + work.rows / 64 + 1);
                scan->source.filter_bv = scan->filter.data();
                if (two_masks)
                    scan->selection = scan->filter;
                scan->context.sel_bv = two_masks ? scan->selection.data() : nullptr;
                return [scan] { (*scan)(); };
            });
        }
}

// The columns that a slot's kernel can have.
std::vector<Subject> subjects_of(uint32_t slot) {
    const uint32_t width = Subject{slot, 0}.width();
    std::vector<Subject> subjects;
    if (Subject{slot, 0}.kernel_class() == KDZK_CLASS_DICT)
        subjects.push_back({slot, width});
    else if (Subject{slot, 0}.is_dynp())
        subjects.push_back({slot, (width + 8) / 2});  // one byte to a lane's
    else
        for (uint32_t bytes = width / 16 + 1; bytes <= width / 8; ++bytes)
            subjects.push_back({slot, 8 * bytes});
    return subjects;
}

std::vector<Subject> all_subjects() {
    std::vector<Subject> subjects;
    for (uint32_t slot = 0; slot < KDZK_TABLE_SLOTS; ++slot)
        if (slot / 32 % 4 != KDZK_CLASS_RLE && slot % 32 <= KDZK_OP_GE_LE && is_live(slot))
            for (const Subject &subject : subjects_of(slot))
                subjects.push_back(subject);
    return subjects;
}

}  // namespace

void register_predicates(const WorkingSet &set) {
    std::vector<std::string> plain_loops;
    for (const Subject &subject : all_subjects()) {
        if (std::find(plain_loops.begin(), plain_loops.end(), subject.plain_name()) == plain_loops.end()) {
            plain_loops.push_back(subject.plain_name());
            register_plain_scan(set, subject);
        }
        measure_scan(set.name, subject, subject.work_in(set.bytes));
    }
    register_masked_scans(set);
}

void register_small_predicate_calls() {
    constexpr uint32_t dict_widths[] = {1, 5, 8, 12, 24, 64}, byte_widths[] = {16, 32, 64};
    std::vector<uint32_t> slots;
    for (const uint32_t operation : {KDZK_OP_EQ, KDZK_OP_GE_LE}) {
        for (const uint32_t width : dict_widths)
            slots.push_back(kdzk_slot(KDZK_CLASS_DICT, width, operation, KDZK_FORM_NULL));
        for (const uint32_t width : byte_widths)
            for (const uint32_t form : {KDZK_FORM_PLAIN, KDZK_FORM_TZ})
                for (const uint32_t kernel_class : {KDZK_CLASS_FIXED, KDZK_CLASS_DYNP})
                    slots.push_back(kdzk_slot(kernel_class, width, operation, form));
    }
    for (const uint32_t slot : slots) {
        const Subject subject = subjects_of(slot).back();
        measure_scan("no_rows", subject, {});
        measure_scan("tail_of_31_rows", subject, {0, 31});
        for (const uint32_t one_in : {100u, 10u, 2u})
            measure_scan("selected_1_in_" + std::to_string(one_in), subject, {0, 1 << 16}, one_in);
    }
}
