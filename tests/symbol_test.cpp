// symbol_test.cpp: codes to symbols, of packed codes by row list and of unpacked ones, for both kinds of dictionary.
#include <gtest/gtest.h>

#include "reference/ypak_writer.h"
#include "support/host_stand_in.h"
#include "support/predicate_call.h"

namespace {

using reference::append_be;
using reference::Kernel;

constexpr uint64_t kFirstSymbol = 0x7F0000001000;  // never looked at

class SymbolTest : public testing::TestWithParam<Kernel> {
  protected:
    bool is_packed() const { return GetParam().operation == KDZK_OP_DECODE; }
    size_t element_bytes() const { return wide_ || width_ > 16 ? 4 : width_ > 8 ? 2 : 1; }
    // A packed row list is in any order, with repeats; unpacked codes are taken in their order.
    void lay_codes(const std::vector<uint64_t> &codes) {
        codes_ = codes;
        list_.clear();
        std::vector<uint8_t> bytes;
        if (is_packed()) {
            bytes = reference::write_codes(codes, width_);
            for (size_t i = 0; i < codes.size(); ++i)
                list_.push_back(static_cast<uint32_t>(random_.below(codes.size())));
        } else {
            for (size_t i = 0; i < codes.size(); ++i) {
                list_.push_back(static_cast<uint32_t>(i));
                for (size_t byte = 0; byte < element_bytes(); ++byte)
                    bytes.push_back(static_cast<uint8_t>(codes[i] >> 8 * byte));
            }
        }
        src_.data =
            payload_.ending_with(bytes.data(), bytes.size(), is_packed() ? reference::payload_slack(width_) : 0);
        src_.row_count = is_packed() ? 0xDEADBEEF : static_cast<uint32_t>(codes.size());
        src_.enc_ctx = &encoding_;
        context_ = {};
        context_.host = static_cast<kdzk_host_env *>(support::unreadable());
        context_.wide_codes = wide_ ? 3 : 0;
        context_.row_list = list_.data();
        context_.row_list_len = static_cast<uint32_t>(list_.size());
        context_.row_pos = 99;
    }

    void lay_lengths(uint16_t length) {
        length_be_.clear();
        append_be(length_be_, length, 2);
        encoding_.dict_kind = 0;
        encoding_.sym_len_be = length_be_.data();
        encoding_.sym_off_be = support::unreadable();
    }

    void lay_offsets(const std::vector<uint32_t> &offsets) {
        std::vector<uint8_t> bytes;
        for (const uint32_t offset : offsets)
            append_be(bytes, offset, 4);
        offset_memory_ = std::make_unique<support::GuardedMemory>(bytes.size(), random_);
        encoding_.dict_kind = 1;
        encoding_.sym_off_be = offset_memory_->ending_with(bytes.data(), bytes.size());
        encoding_.sym_len_be = support::unreadable();
        offsets_ = offsets;
    }

    uint64_t call() {
        encoding_.sym_data = kFirstSymbol;
        const size_t rows = list_.size();
        for (support::GuardedMemory *memory : {&addresses_, &lengths_, &flags_})
            memory->restore();
        dst_.data = addresses_.ending(8 * rows);
        dst_.lens = lengths_.ending(2 * rows);
        dst_.row_flags = static_cast<uint16_t *>(static_cast<void *>(flags_.ending(2 * rows)));
        dst_.hit_count = 0xDEADBEEF;
        return kdzk_dispatch_table[slot_of(GetParam())].vec(&dst_, &src_, &context_);
    }

    template <class T>
    static T entry(const void *array, size_t at) {
        T value;
        std::memcpy(&value, static_cast<const uint8_t *>(array) + at * sizeof value, sizeof value);
        return value;
    }

    // address and length of the entry with a code; index: its place in the output.
    template <class Symbol>
    void expect_symbols(Symbol symbol_of) {
        ASSERT_EQ(call(), KDZK_STATUS_OK);
        ASSERT_EQ(dst_.hit_count, list_.size());
        ASSERT_EQ(context_.row_pos, is_packed() && !list_.empty() ? list_.back() : 99);
        for (size_t at = 0; at < list_.size(); ++at) {
            const auto [address, length] = symbol_of(codes_[list_[at]], at);
            ASSERT_EQ(entry<uint64_t>(dst_.data, at), address) << at;
            ASSERT_EQ(entry<uint16_t>(dst_.lens, at), length) << at;
            ASSERT_EQ(entry<uint16_t>(dst_.row_flags, at), length == 0 ? 2 : 0) << at;
        }
        ASSERT_TRUE(addresses_.unchanged_but(static_cast<uint8_t *>(dst_.data), 8 * list_.size()));
        ASSERT_TRUE(lengths_.unchanged_but(static_cast<uint8_t *>(dst_.lens), 2 * list_.size()));
        ASSERT_TRUE(flags_.unchanged_but(reinterpret_cast<uint8_t *>(dst_.row_flags), 2 * list_.size()));
    }

    std::vector<uint64_t> random_codes(size_t rows, uint64_t below) {
        std::vector<uint64_t> codes(rows);
        for (uint64_t &code : codes)
            code = random_.below(std::min(below, reference::largest_code(width_) + 1));
        return codes;
    }

    const uint32_t width_ = GetParam().width_bits;
    bool wide_ = false;
    support::Random random_;
    support::GuardedMemory payload_{4 * 400 + 64, random_}, addresses_{8 * 400, random_}, lengths_{2 * 400, random_},
        flags_{2 * 400, random_};
    std::unique_ptr<support::GuardedMemory> offset_memory_;
    std::vector<uint32_t> offsets_, list_;
    std::vector<uint8_t> length_be_;
    std::vector<uint64_t> codes_;
    kdzk_enc_ctx encoding_{};
    kdzk_vec dst_{}, src_{};
    kdzk_exec_ctx context_{};
};

TEST_P(SymbolTest, MultipliesByOneLengthIn32Bits) {
    for (const size_t rows : {0u, 1u, 7u, 8u, 9u, 16u, 100u})
        for (const uint16_t length : std::vector<uint16_t>{1, 5, 300, 0xFFFF})
            for (const bool wide : {false, true}) {
                wide_ = wide;
                lay_codes(random_codes(rows, ~uint64_t{0}));
                lay_lengths(length);
                expect_symbols([&](uint64_t code, size_t) {
                    return std::pair(kFirstSymbol + static_cast<uint32_t>(code * length), length);
                });
            }
}

// Offsets of empty symbols, of ordinary ones, and of symbols of 64 KiB and more, whose lengths saturate in blocks of
// eight unpacked codes and lose their upper bits everywhere else.
TEST_P(SymbolTest, FindsSymbolsBetweenOffsets) {
    const uint64_t symbols = std::min<uint64_t>(reference::largest_code(width_) + 1, 500);
    std::vector<uint32_t> offsets = {7};
    for (uint64_t i = 0; i < symbols; ++i) {
        const uint32_t lengths[] = {0, 1, 40, 0xFFFF, 0x10000, 0x10001, static_cast<uint32_t>(random_.below(0x10000))};
        offsets.push_back(offsets.back() + random_.one_of(lengths));
    }
    lay_offsets(offsets);
    for (const size_t rows : {0u, 1u, 7u, 8u, 9u, 16u, 100u})
        for (const bool wide : {false, true}) {
            wide_ = wide;
            lay_codes(random_codes(rows, symbols));
            expect_symbols([&](uint64_t code, size_t at) {
                const uint32_t length = offsets_[code + 1] - offsets_[code];
                const bool in_block = !is_packed() && at < rows / 8 * 8;
                return std::pair(kFirstSymbol + offsets_[code],
                                 static_cast<uint16_t>(in_block ? std::min(length, 0xFFFFu) : length));
            });
        }
}

TEST_P(SymbolTest, LeavesAloneWhatItNeedNotTouch) {
    lay_codes(random_codes(20, 2));
    lay_lengths(0);
    src_.data = support::unreadable();
    encoding_.flags = KDZK_ENC_YPAK;
    EXPECT_EQ(call(), KDZK_STATUS_OK);
    EXPECT_TRUE(addresses_.unchanged_but(static_cast<uint8_t *>(dst_.data), 0));
    EXPECT_EQ(dst_.hit_count, 20u);
    EXPECT_EQ(context_.row_pos, is_packed() ? list_.back() : 99);
    context_.row_pos = 99;
    for (size_t at = 0; at < 20; ++at) {
        EXPECT_EQ(entry<uint16_t>(dst_.lens, at), 0);
        EXPECT_EQ(entry<uint16_t>(dst_.row_flags, at), KDZK_ROW_EMPTY);
    }
    for (const uint32_t kind : {2u, 0xFFFFFFFFu}) {
        encoding_.dict_kind = kind;
        EXPECT_EQ(call(), KDZK_STATUS_REFUSED);
        EXPECT_EQ(dst_.hit_count, 0xDEADBEEF);
        EXPECT_EQ(context_.row_pos, 99u);
        EXPECT_TRUE(addresses_.unchanged_but(static_cast<uint8_t *>(dst_.data), 0));
        EXPECT_TRUE(lengths_.unchanged_but(static_cast<uint8_t *>(dst_.lens), 0));
        EXPECT_TRUE(flags_.unchanged_but(reinterpret_cast<uint8_t *>(dst_.row_flags), 0));
    }
}

INSTANTIATE_TEST_SUITE_P(Packed, SymbolTest, testing::ValuesIn(support::live_kernels(KDZK_OP_DECODE, KDZK_OP_DECODE)),
                         support::case_name);
INSTANTIATE_TEST_SUITE_P(Unpacked, SymbolTest,
                         testing::ValuesIn(support::live_kernels(KDZK_OP_DECODE_SYMBOL, KDZK_OP_DECODE_SYMBOL)),
                         support::case_name);

// What the decode and set kernels ask of a host for a compressed source.
class CompressedCodesTest : public testing::TestWithParam<Kernel> {};

TEST_P(CompressedCodesTest, AreDecodedUnderTheKernelsNameAndKept) {
    const Kernel kernel = GetParam();
    for (const bool selective : {false, true}) {
        support::HostStandIn host;
        host.slack = 8;
        host.decode_fails = true;
        std::vector<uint64_t> codes(40);
        for (size_t row = 1; row < 40; row += 2)
            codes[row] = 1;
        std::vector<uint8_t> stream = reference::write_codes(codes, kernel.width_bits);
        void *holder = nullptr;
        host.holder = &holder;
        const std::vector<uint8_t> length = {0, 1};
        std::vector<uint64_t> output(40), set = {2};
        std::vector<uint16_t> lengths(40), flags(40, 0xEEEE);
        const uint32_t rows[] = {3, 1};
        const uint64_t selection = 0xFF00;
        kdzk_enc_ctx encoding{};
        encoding.flags = KDZK_ENC_YPAK;
        encoding.sym_len_be = length.data();
        kdzk_vec dst{}, src{};
        dst.data = dst.res_bv = output.data();
        dst.lens = lengths.data();
        dst.row_flags = flags.data();
        dst.row_count = src.row_count = 40;
        src.data = stream.data();
        src.decomp_len = static_cast<uint32_t>(stream.size());
        src.decomp_slot = &holder;
        src.alloc_arg = 17;
        src.enc_ctx = &encoding;
        kdzk_pred operand{};
        operand.res_bv = set.data();
        kdzk_exec_ctx ctx{};
        ctx.host = &host.services;
        ctx.row_list = rows;
        ctx.row_list_len = 2;
        ctx.sel_bv = kernel.operation == KDZK_OP_DECODE ? nullptr : &selection;
        ctx.selective = selective;
        const auto call = [&] {
            const kdzk_kernel &entry = kdzk_dispatch_table[slot_of(kernel)];
            const uint64_t status =
                kernel.operation == KDZK_OP_SET ? entry.key(&dst, &src, &operand, &ctx) : entry.vec(&dst, &src, &ctx);
            EXPECT_EQ(status, KDZK_STATUS_OK);
            EXPECT_EQ(dst.hit_count, kernel.operation == KDZK_OP_DECODE ? 2u
                                     : kernel.operation == KDZK_OP_SET  ? 4u
                                                                        : 8u);
        };
        EXPECT_TRUE(leaves_by_jump(host, call));
        EXPECT_EQ(flags[0], kernel.operation == KDZK_OP_DECODE ? 0 : 0xEEEE);
        std::fill(stream.begin(), stream.end(), uint8_t{0});  // it has been read
        call();
        if (kernel.operation == KDZK_OP_SET) {
            EXPECT_EQ(output[0], 0xAA00u);
        } else if (kernel.operation == KDZK_OP_DECODE) {
            EXPECT_EQ(std::vector(output.begin(), output.begin() + 2), (std::vector<uint64_t>{1, 1}));
        } else {
            const size_t element_bytes = kernel.width_bits <= 8 ? 1 : kernel.width_bits <= 16 ? 2 : 4;
            for (size_t at = 0; at < 8; ++at)
                EXPECT_EQ(reinterpret_cast<const uint8_t *>(output.data())[at * element_bytes], at % 2);
        }
        const std::vector<std::string> expected = {
            support::call_text("alloc", host.services.heap, src.decomp_len, name_of(kernel) + ": vec1_decomp", 8, 16,
                               17),
            support::call_text("decode", true, src.data, true, 0, src.decomp_len),
            support::call_text("raise", host.err_handle, name_of(kernel) + ": kdzk_ypak_decode failed", 0)};
        EXPECT_EQ(host.calls, expected);
    }
}

std::vector<Kernel> kernels_over_compressed_codes() {
    std::vector<Kernel> kernels = support::live_kernels(KDZK_OP_DECODE, KDZK_OP_SET);
    std::erase_if(kernels, [](const Kernel &kernel) { return kernel.operation == KDZK_OP_DECODE_SYMBOL; });
    return kernels;
}
INSTANTIATE_TEST_SUITE_P(, CompressedCodesTest, testing::ValuesIn(kernels_over_compressed_codes()), support::case_name);

}  // namespace
