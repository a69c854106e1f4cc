// compressed_source_test.cpp: what a kernel asks of its host for a compressed source, under which name, and what stands
// after a decoder that failed.
#include <gtest/gtest.h>

#include "reference/ypak_writer.h"
#include "support/host_stand_in.h"
#include "support/predicate_call.h"

namespace {

using reference::Kernel;
using support::call_text;
using support::HostStandIn;

// Each kernel twice: its main and its selective body.
class CompressedSourceTest : public testing::TestWithParam<std::tuple<Kernel, bool>> {
  protected:
    CompressedSourceTest() {
        host_.slack = reference::payload_slack(kernel_.width_bits);
        host_.holder = &holder_;
        context_.host = &host_.services;
        context_.sel_bv = &selection_;
        context_.selective = selective_;
        context_.flags = 0x40;
        call_.encoding.flags = KDZK_ENC_YPAK;
        call_.src.data = stream_.data();
        call_.src.decomp_len = static_cast<uint32_t>(stream_.size());
        call_.src.decomp_slot = &holder_;
        call_.src.alloc_arg = 0x123456789ABCDEF0;
        call_.dst.row_count = call_.src.row_count = 40;
        lay_operands();
        call_.dst.res_bv = &result_;
    }

    // Fixed and dynp keys are big-endian strings, and all rows and keys are as long as the lane: their fields are the
    // largest.
    void lay_operands() {
        call_.lower.data = &stored_keys_.lower;
        call_.upper.data = &stored_keys_.upper;
        if (kernel_.kernel_class == KDZK_CLASS_DICT)
            return;
        const uint32_t unused_bits = 64 - kernel_.width_bits;
        stored_keys_ = {__builtin_bswap64(keys_.lower << unused_bits), __builtin_bswap64(keys_.upper << unused_bits)};
        call_.encoding.width = static_cast<uint8_t>(kernel_.width_bits);
        call_.src.lens = lens_.data();
        for (kdzk_pred *const key : {&call_.lower, &call_.upper}) {
            key->enc_ctx = &call_.encoding;
            key->lens = &key_field_;
        }
    }

    void expect_answer(uint64_t status, const kdzk_exec_ctx *ctx) {
        const uint64_t *const selection = ctx != nullptr ? &selection_ : nullptr;
        const auto expected = predicate(kernel_, codes_, keys_, {nullptr, selection, selective_});
        EXPECT_EQ(status, expected.status);
        EXPECT_EQ(call_.dst.hit_count, expected.hit_count);
        EXPECT_EQ(result_, expected.words[0]);
    }

    std::string text_of(const char *tail) const { return name_of(named_in_texts(kernel_, selective_)) + tail; }
    std::vector<std::string> expected_calls() const {
        const uint32_t size = call_.src.decomp_len;
        return {call_text("alloc", host_.services.heap, size, text_of(": vec1_decomp"), 8, 16, call_.src.alloc_arg),
                call_text("decode", true, call_.src.data, true, 0, size)};
    }
    std::string expected_raise() const {
        return call_text("raise", host_.err_handle, text_of(": kdzk_ypak_decode failed"), 0);
    }

    const Kernel kernel_ = std::get<0>(GetParam());
    const bool selective_ = std::get<1>(GetParam());
    HostStandIn host_;
    const uint64_t middle_ = reference::largest_code(kernel_.width_bits) / 2;
    reference::Keys keys_{middle_, middle_ + 1};
    reference::Keys stored_keys_ = keys_;
    uint8_t key_field_ = static_cast<uint8_t>(kernel_.width_bits / 8 - 1);
    std::vector<uint8_t> lens_ = std::vector<uint8_t>(40, kernel_.width_bits == 64 ? 0x77 : 0xFF);
    const std::vector<uint64_t> codes_ = codes_around({middle_}, 2 * middle_ + 1, 40, host_.random);
    std::vector<uint8_t> stream_ = reference::write_codes(codes_, kernel_.width_bits);
    void *holder_ = nullptr;
    uint64_t result_ = host_.random.word(), selection_ = host_.random.word();
    support::PredicateCall call_{kernel_};
    kdzk_exec_ctx context_{};
};

TEST_P(CompressedSourceTest, IsDecodedOnceAndThenTakenFromItsHolder) {
    expect_answer(call_(&context_), &context_);
    EXPECT_EQ(host_.calls, expected_calls());
    EXPECT_EQ(context_.flags, selective_ ? 0x40u | KDZK_RAN_SELECTIVE : 0x40u);

    call_.src.data = support::unreadable();
    context_.host = nullptr;
    kdzk_exec_ctx *const context = selective_ ? &context_ : nullptr;
    expect_answer(call_(context), context);
    EXPECT_EQ(host_.calls.size(), 2u);
}

TEST_P(CompressedSourceTest, IsDecodedByTheLibraryItself) {
    reference::YpakStream stream{.symbols = {std::string(5, 0)}, .codes = {}};
    for (const uint8_t byte : stream_) {
        stream.symbols.push_back(std::string(1, static_cast<char>(byte)));
        stream.codes.push_back(stream.symbols.size() - 1);
    }
    std::vector<uint8_t> bytes = stream.bytes();
    bytes.resize(bytes.size() + 16);
    call_.src.data = bytes.data();
    host_.services.ypak_decode = kdzk_ypak_decode_dydi;
    expect_answer(call_(&context_), &context_);
    EXPECT_EQ(host_.calls.front(), expected_calls().front());
    EXPECT_EQ(host_.calls.size(), 5u);  // the payload, and two scratch arrays that come and go
}

TEST_P(CompressedSourceTest, GoesOnWhenTheRaiseReturns) {
    host_.decode_fails = true;
    auto expected = expected_calls();
    expected.push_back(expected_raise());
    for (int round = 0; round < 2; ++round) {
        expect_answer(call_(&context_), &context_);
        EXPECT_EQ(host_.calls, expected);
        EXPECT_NE(holder_, nullptr);
    }
}

TEST_P(CompressedSourceTest, KeepsItsHolderAndHasNoMarkWhenTheRaiseJumps) {
    host_.decode_fails = true;
    const uint64_t before = result_;
    EXPECT_TRUE(leaves_by_jump(host_, [this] { call_(&context_); }));
    EXPECT_EQ(host_.calls.back(), expected_raise());
    EXPECT_EQ(context_.flags, 0x40u);
    EXPECT_EQ(result_, before);

    expect_answer(call_(&context_), &context_);
    EXPECT_EQ(host_.calls.size(), 3u);
}

std::string body_name(const testing::TestParamInfo<std::tuple<Kernel, bool>> &info) {
    return name_of(std::get<0>(info.param)) + (std::get<1>(info.param) ? "_selective" : "_main");
}

INSTANTIATE_TEST_SUITE_P(, CompressedSourceTest,
                         testing::Combine(testing::ValuesIn(support::live_predicates()), testing::Bool()), body_name);

}  // namespace
