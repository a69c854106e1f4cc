// decode.cpp: rates of the decode and set kernels. Rows a second are rows written, or tested.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "families.h"
#include "kdzk.h"
#include "memory_loops.h"
#include "rates.h"

extern "C" const char *const kdzk_dispatch_names[KDZK_TABLE_SLOTS];

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

void register_unpack(uint32_t width, uint32_t rows) {
    const std::string name = name_of(KDZK_OP_DECODE_UNPACK, width);
    for (const uint32_t wide : {0u, 1u}) {
        const std::string element = wide ? ":wide" : "";
        const std::string all = name + element + "/all", plain = "plain_" + all;
        const uint32_t element_bits = wide || width > 16 ? 32 : width > 8 ? 16 : 8;
        measure(plain, "", {size_t{rows} * width / 8, rows}, [=] {
            const auto call = std::make_shared<Call>(KDZK_OP_DECODE_UNPACK, width, rows);
            return [=] {
                plain_unpack(width, element_bits)({shared_bytes(), nullptr, rows}, call->output.data());
                benchmark::ClobberMemory();
            };
        });
        const auto prepare = [=](Call &call) { call.context.wide_codes = wide; };
        measure_call(all, KDZK_OP_DECODE_UNPACK, width, rows, prepare, plain);
        for (const uint32_t one_in : {1u, 2u, 10u, 100u})
            measure_call(
                name + element + "/1_in_" + std::to_string(one_in), KDZK_OP_DECODE_UNPACK, width, rows,
                [=](Call &call) {
                    call.context.wide_codes = wide;
                    call.select(one_in);
                },
                all);
    }
}

void register_set(uint32_t width, uint32_t rows) {
    const std::string all = name_of(KDZK_OP_SET, width) + "/all", plain = "plain_" + all;
    const auto prepare = [=](Call &call) {
        call.lay_small_codes(width);
        call.set = random_bits(uint64_t{1} << std::min(width, 16u), 2);
        call.operand.res_bv = call.set.data();
    };
    measure(plain, "", {size_t{rows} * width / 8, rows}, [=] {
        const auto call = std::make_shared<Call>(KDZK_OP_SET, width, rows);
        prepare(*call);
        return [=] {
            const PlainRows codes = {call->payload.data(), nullptr, rows};
            benchmark::DoNotOptimize(plain_set_test(width)(codes, call->set.data(), call->destination.res_bv));
            benchmark::ClobberMemory();
        };
    });
    measure_call(all, KDZK_OP_SET, width, rows, prepare, plain);
}

// The same gather in a plain loop.
void decode_plainly(Call &call, uint32_t width) {
    for (size_t at = 0; at < call.list.size(); ++at) {
        const uint64_t bit = uint64_t{call.list[at]} * width;
        uint64_t window;
        __builtin_memcpy(&window, call.payload.data() + bit / 8, 8);
        const uint64_t code = __builtin_bswap64(window) << bit % 8 >> (64 - width);
        const uint64_t address = call.encoding.sym_data + uint32_t(code * 5);
        const uint16_t length = 5, flag = 0;
        __builtin_memcpy(call.output.data() + 8 * at, &address, 8);
        __builtin_memcpy(call.lengths.data() + 2 * at, &length, 2);
        __builtin_memcpy(call.flags.data() + 2 * at, &flag, 2);
    }
    benchmark::ClobberMemory();
}

void register_decode(uint32_t width, uint32_t rows, bool in_order) {
    const std::string name = name_of(KDZK_OP_DECODE, width) + (in_order ? "/ascending" : "/random");
    const auto lay_list = [=](Call &call) {
        std::mt19937 random(1);
        for (uint32_t row = 0; row < rows; ++row)
            call.list.push_back(in_order ? row : uint32_t(random()) % rows);
        call.context.row_list = call.list.data();
        call.context.row_list_len = rows;
        call.lay_small_codes(width);
    };
    measure("plain_" + name, "", {0, rows}, [=] {
        const auto call = std::make_shared<Call>(KDZK_OP_DECODE, width, rows);
        lay_list(*call);
        return [=] { decode_plainly(*call, width); };
    });
    measure_call(name, KDZK_OP_DECODE, width, rows, lay_list, "plain_" + name);
    measure_call(name + ":offsets", KDZK_OP_DECODE, width, rows, [=](Call &call) {
        lay_list(call);
        call.lay_offsets();
    });
}

void register_symbols(uint32_t width, uint32_t rows) {
    const std::string name = name_of(KDZK_OP_DECODE_SYMBOL, width);
    const uint32_t element_bits = width <= 8 ? 8 : width <= 16 ? 16 : 32;
    for (const bool by_offsets : {false, true})
        measure_call(name + (by_offsets ? ":offsets" : "") + "/all", KDZK_OP_DECODE_SYMBOL, width, rows,
                     [=](Call &call) {
                         call.payload.resize(size_t{rows} * element_bits / 8);
                         for (size_t at = 0; at < call.payload.size(); at += element_bits / 8)
                             call.payload[at] = shared_bytes()[at];
                         call.source.data = call.payload.data();
                         if (by_offsets)
                             call.lay_offsets();
                     });
}

}  // namespace

void register_decoding() {
    constexpr uint32_t rows = 4096;  // all that a call touches stays in the first cache, or nearly
    for (uint32_t width = 1; width <= 32; ++width) {
        if (width > 20 && width != 24 && width != 32)
            continue;
        register_unpack(width, rows);
        register_set(width, rows);
    }
    for (const uint32_t width : {5u, 8u, 12u, 20u, 32u})
        for (const bool in_order : {true, false})
            register_decode(width, rows, in_order);
    for (const uint32_t width : {8u, 16u, 32u})
        register_symbols(width, rows);
}
