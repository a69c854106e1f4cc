// decode.cpp: rates of the decode and set kernels. Rows a second are rows written, or tested.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "families.h"
#include "rates.h"

namespace {

constexpr uint32_t kSymbols = 256;

// The records of one call over the shared bytes, with codes and symbols that stay inside the dictionary.
struct Call {
    uint32_t slot, rows;
    std::vector<uint8_t> payload, offsets, output, lengths, flags;
    std::vector<uint64_t> selection, set;
    std::vector<uint32_t> list;
    uint8_t length_be[2] = {0, 5};
    kdzk_enc_ctx encoding = {};
    kdzk_vec source = {}, destination = {};
    kdzk_pred operand = {};
    kdzk_exec_ctx context = {};

    Call(uint32_t operation, uint32_t width, uint32_t row_count)
        : slot(kdzk_slot(KDZK_CLASS_DICT, width, operation, KDZK_FORM_PLAIN)),
          rows(row_count),
          output(8 * (rows + 1)),
          lengths(2 * rows),
          flags(2 * rows) {
        encoding.sym_len_be = length_be;
        encoding.sym_off_be = offsets.data();
        source.enc_ctx = &encoding;
        source.data = const_cast<uint8_t *>(shared_bytes());
        source.row_count = destination.row_count = rows;
        destination.data = output.data();
        destination.lens = lengths.data();
        destination.row_flags = reinterpret_cast<uint16_t *>(flags.data());
        destination.res_bv = reinterpret_cast<uint64_t *>(output.data());
    }
    Call(const Call &) = delete;

    PlainRows plain_rows() const { return {static_cast<const uint8_t *>(source.data), nullptr, rows}; }
    PlainDictionary plain_dictionary() const {
        return {encoding.sym_data, length_be[1], encoding.dict_kind == 1 ? offsets.data() : nullptr};
    }
    PlainSymbols plain_symbols() {
        return {reinterpret_cast<uint64_t *>(output.data()), reinterpret_cast<uint16_t *>(lengths.data()),
                reinterpret_cast<uint16_t *>(flags.data())};
    }

    void select(uint32_t one_in) {
        selection = one_in == 1 ? std::vector<uint64_t>(rows / 64 + 1, ~uint64_t{0}) : random_bits(rows, one_in);
        context.sel_bv = selection.data();
    }

    // Codes of a width that are all in the dictionary: the upper bits are clear.
    void lay_small_codes(uint32_t width) {
        std::mt19937 random(width);
        payload.resize(size_t{rows} * width / 8 + 16);
        for (uint32_t row = 0; row < rows; ++row) {
            const uint32_t code = uint32_t(random()) % std::min(kSymbols, 1u << std::min(width, 31u));
            for (uint32_t bit = 0; bit < width; ++bit)
                if (code >> (width - 1 - bit) & 1)
                    payload[(size_t{row} * width + bit) / 8] |= uint8_t(0x80 >> (size_t{row} * width + bit) % 8);
        }
        source.data = payload.data();
    }

    void lay_offsets() {
        for (uint32_t symbol = 0; symbol <= kSymbols; ++symbol)
            for (int byte = 3; byte >= 0; --byte)
                offsets.push_back(uint8_t(symbol * 7 >> 8 * byte));
        encoding.dict_kind = 1;
        encoding.sym_off_be = offsets.data();
    }

    void operator()() {
        context.row_pos = 0;
        const kdzk_kernel kernel = kdzk_dispatch_table[slot];
        if (slot % 32 == KDZK_OP_SET)
            kernel.key(&destination, &source, &operand, &context);
        else
            kernel.vec(&destination, &source, &context);
        benchmark::ClobberMemory();
    }
};

std::string name_of(uint32_t operation, uint32_t width) {
    return kdzk_dispatch_names[kdzk_slot(KDZK_CLASS_DICT, width, operation, KDZK_FORM_PLAIN)];
}

// prepare(call) lays down what the call needs besides the payload.
template <typename Prepare>
void measure_call(const std::string &name, uint32_t operation, uint32_t width, uint32_t rows, Prepare prepare,
                  const std::string &plain_loop = "") {
    measure(
        name, "", {size_t{rows} * width / 8, rows},
        [=] {
            const auto call = std::make_shared<Call>(operation, width, rows);
            prepare(*call);
            return [call] { (*call)(); };
        },
        plain_loop);
}

// The same with a plain loop over the same call's buffers: run_plainly(loops, call).
template <typename Prepare, typename RunPlainly>
void measure_both(const std::string &name, uint32_t operation, uint32_t width, uint32_t rows, Prepare prepare,
                  RunPlainly run_plainly) {
    measure_plain("plain_" + name, "", {size_t{rows} * width / 8, rows}, [=](const PlainLoops &loops) {
        const auto call = std::make_shared<Call>(operation, width, rows);
        prepare(*call);
        return [=, &loops] {
            run_plainly(loops, *call);
            benchmark::ClobberMemory();
        };
    });
    measure_call(name, operation, width, rows, prepare, "plain_" + name);
}

std::string unpack_name(uint32_t width, bool wide) {
    return name_of(KDZK_OP_DECODE_UNPACK, width) + (wide ? ":wide" : "");
}

void register_unpack_all(const std::string &set, uint32_t width, bool wide, uint32_t rows) {
    const uint32_t element_bits = wide || width > 16 ? 32 : width > 8 ? 16 : 8;
    const auto prepare = [=](Call &call) { call.context.wide_codes = wide; };
    measure_both(unpack_name(width, wide) + set, KDZK_OP_DECODE_UNPACK, width, rows, prepare,
                 [=](const PlainLoops &loops, Call &call) {
                     loops.unpack(width, element_bits)(call.plain_rows(), call.output.data());
                 });
}

void register_unpack_selected(uint32_t width, bool wide, uint32_t rows) {
    for (const uint32_t one_in : {1u, 2u, 10u, 100u})
        measure_call(unpack_name(width, wide) + "/1_in_" + std::to_string(one_in), KDZK_OP_DECODE_UNPACK, width, rows,
                     [=](Call &call) {
                         call.context.wide_codes = wide;
                         call.select(one_in);
                     });
}

void register_set(uint32_t width, uint32_t rows) {
    const auto prepare = [=](Call &call) {
        call.lay_small_codes(width);
        call.set = random_bits(uint64_t{1} << std::min(width, 16u), 2);
        call.operand.res_bv = call.set.data();
    };
    measure_both(name_of(KDZK_OP_SET, width) + "/all", KDZK_OP_SET, width, rows, prepare,
                 [=](const PlainLoops &loops, Call &call) {
                     const PlainSetTest test = loops.set_test(width);
                     benchmark::DoNotOptimize(test(call.plain_rows(), call.set.data(), call.destination.res_bv));
                 });
}

void register_decode(uint32_t width, uint32_t rows, bool in_order, bool by_offsets) {
    const auto prepare = [=](Call &call) {
        std::mt19937 random(1);
        for (uint32_t row = 0; row < rows; ++row)
            call.list.push_back(in_order ? row : uint32_t(random()) % rows);
        call.context.row_list = call.list.data();
        call.context.row_list_len = rows;
        call.lay_small_codes(width);
        if (by_offsets)
            call.lay_offsets();
    };
    const std::string name = name_of(KDZK_OP_DECODE, width) + (by_offsets ? ":offsets" : "");
    measure_both(name + (in_order ? "/ascending" : "/random"), KDZK_OP_DECODE, width, rows, prepare,
                 [=](const PlainLoops &loops, Call &call) {
                     loops.decode(width)(call.plain_rows(), call.list.data(), call.plain_dictionary(),
                                         call.plain_symbols());
                 });
}

void register_symbols(uint32_t width, uint32_t rows, bool by_offsets) {
    const uint32_t element_bits = width <= 8 ? 8 : width <= 16 ? 16 : 32;
    const auto prepare = [=](Call &call) {
        call.payload.resize(size_t{rows} * element_bits / 8);
        for (size_t at = 0; at < call.payload.size(); at += element_bits / 8)
            call.payload[at] = uint8_t(shared_bytes()[at] & ((1u << std::min(width, 8u)) - 1));
        call.source.data = call.payload.data();
        if (by_offsets)
            call.lay_offsets();
    };
    const std::string name = name_of(KDZK_OP_DECODE_SYMBOL, width) + (by_offsets ? ":offsets" : "");
    measure_both(name + "/all", KDZK_OP_DECODE_SYMBOL, width, rows, prepare, [=](const PlainLoops &loops, Call &call) {
        loops.look_up(element_bits)(call.source.data, rows, call.plain_dictionary(), call.plain_symbols());
    });
}

}  // namespace

void register_decoding() {
    // All that a call touches stays in the first cache; a row of symbols takes twelve bytes.
    constexpr uint32_t rows = 4096, rows_of_symbols = 1024;
    for (uint32_t width = 1; width <= 32; ++width) {
        if (!is_live(kdzk_slot(KDZK_CLASS_DICT, width, KDZK_OP_DECODE, KDZK_FORM_PLAIN)))
            continue;
        for (const bool wide : {false, true}) {
            register_unpack_all("/all", width, wide, rows);
            register_unpack_selected(width, wide, rows);
        }
        register_set(width, rows);
        for (const bool by_offsets : {false, true}) {
            register_decode(width, rows_of_symbols, true, by_offsets);
            register_decode(width, rows_of_symbols, false, by_offsets);
            register_symbols(width, rows_of_symbols, by_offsets);
        }
    }
}

void register_unpacking_of_memory() {
    for (const uint32_t width : {5u, 8u, 12u, 16u, 20u, 32u})
        for (const bool wide : {false, true})
            if (!wide || width <= 16)
                register_unpack_all("/RAM", width, wide, 1 << 24);
}
