// stream_test.cpp: YPAK streams through kdzk_ypak_decode_dydi: plain and extended ones, and those it must refuse.
#include <gtest/gtest.h>

#include <future>

#include "reference/ypak_writer.h"
#include "support/host_stand_in.h"

namespace {

using reference::YpakStream;
using support::call_text;

// What may be read behind a stream, in bytes.
size_t slack_of(const YpakStream &stream) {
    const bool has_codes = stream.code_bits() >= 3 && stream.codes.size() * stream.code_bits() >= 4 * 8;
    return !has_codes ? 16 : stream.code_bits() == 8 ? 0 : 1;
}

class StreamTest : public testing::Test {
  protected:
    YpakStream stream_of(size_t symbol_count, size_t code_count) {
        YpakStream stream{.symbols = std::vector<std::string>(symbol_count), .codes = {}};
        for (size_t i = 0; i < symbol_count; ++i)
            for (uint64_t left = 1 + host_.random.below(8); left > 0; --left)
                stream.symbols[i] += static_cast<char>(host_.random.word());
        for (size_t i = 0; i < code_count; ++i)
            stream.codes.push_back(host_.random.below(symbol_count));
        return stream;
    }

    // Room for limit bytes right before an unreadable page.
    uint32_t decode(const YpakStream &stream, uint32_t limit) {
        const std::vector<uint8_t> bytes = stream.bytes();
        const kdzk_host_env &host = host_.services;
        kdzk_ypak_ctx ctx{host.env, host.heap, host.stream_alloc, host.stream_free};
        output_memory_.restore();
        output_ = output_memory_.ending(limit);
        const void *const source = source_.ending_with(bytes.data(), bytes.size(), slack_of(stream));
        return kdzk_ypak_decode_dydi(&ctx, source, output_, &produced_, limit);
    }

    void expect_decoded(const YpakStream &stream) {
        const std::string expected = stream.decoded();
        ASSERT_EQ(decode(stream, static_cast<uint32_t>(expected.size())), KDZK_STATUS_OK);
        ASSERT_EQ(produced_, expected.size());
        ASSERT_EQ(std::string(output_, output_ + produced_), expected);
        ASSERT_TRUE(output_memory_.unchanged_but(output_, produced_));
    }

    void expect_refused(const YpakStream &stream, uint32_t limit) {
        produced_ = 0xDEADBEEF;
        EXPECT_EQ(decode(stream, limit), KDZK_STATUS_REFUSED);
        EXPECT_EQ(produced_, 0xDEADBEEF);
        EXPECT_TRUE(output_memory_.unchanged_but(output_, 0));
        EXPECT_EQ(host_.calls, std::vector<std::string>{});
    }

    support::HostStandIn host_;
    support::GuardedMemory source_{1 << 16, host_.random}, output_memory_{1 << 16, host_.random};
    uint8_t *output_ = nullptr;
    uint32_t produced_ = 0;
};

// Around every power of two, where codes grow by a bit, and around every count at which blocks of 32 codes begin.
TEST_F(StreamTest, GivesItsSymbolsAtEveryCodeWidth) {
    for (const int symbols : {1,  2,  3,  4,   5,   7,   8,   9,   15,  16,  17,  31,  32,   33,
                              63, 64, 65, 127, 128, 129, 255, 256, 257, 511, 512, 513, 1023, 1024})
        for (const int codes : {0, 1, 2, 31, 32, 33, 63, 64, 65, 95, 96, 97, 127, 128, 1000}) {
            YpakStream stream = stream_of(static_cast<size_t>(symbols), static_cast<size_t>(codes));
            stream.aux_count = host_.random.one_of(std::vector<int16_t>{0, -1, -32768, 1, 32767});
            stream.aux_gap_bytes = static_cast<uint32_t>(host_.random.below(50));
            expect_decoded(stream);
            if (HasFatalFailure())
                FAIL() << symbols << " symbols, " << codes << " codes, aux_count " << stream.aux_count;
        }
}

TEST_F(StreamTest, TakesTwoScratchArraysAndGivesThemBack) {
    const YpakStream stream = stream_of(5, 70);
    expect_decoded(stream);
    const std::vector<std::string> expected = {
        call_text("stream_alloc", 6, "ypak_decode_x86 length_array", 8, 0, 0),
        call_text("stream_alloc", 40, "ypak_decode_x86: symbol_array", 8, 0, 0),
        call_text("stream_free", 1, 1040),
        call_text("stream_free", 0, 1006),
    };
    EXPECT_EQ(host_.calls, expected);
}

TEST_F(StreamTest, SpreadsItsSymbolsOverTheScratchArrays) {
    const YpakStream stream = stream_of(37, 70);
    expect_decoded(stream);
    const std::vector<uint8_t> bytes = stream.bytes();
    size_t symbol_at = 18 + 38 / 2;
    const uint8_t *const lengths = host_.blocks.at(0)->ending(38), *const symbols = host_.blocks.at(1)->ending(8 * 37);
    for (size_t i = 0; i < 37; ++i) {
        EXPECT_EQ(lengths[i], stream.symbols[i].size()) << i;
        EXPECT_EQ(std::memcmp(symbols + 8 * i, &bytes[symbol_at], 8), 0) << i;
        symbol_at += stream.symbols[i].size();
    }
    EXPECT_TRUE(host_.blocks.at(0)->unchanged_but(lengths, 37));  // so not the last byte
}

TEST_F(StreamTest, HoldsNothingBetweenThreads) {
    const YpakStream streams[] = {stream_of(300, 20000), stream_of(200, 20000)};
    const auto decode_often = [](const YpakStream &stream) {
        support::HostStandIn host;
        std::vector<uint8_t> bytes = stream.bytes();
        bytes.resize(bytes.size() + slack_of(stream));
        const std::string expected = stream.decoded();
        std::string output(expected.size(), 0);
        kdzk_ypak_ctx ctx{host.services.env, nullptr, host.services.stream_alloc, host.services.stream_free};
        bool all_equal = true;
        for (int round = 0; round < 50; ++round) {
            uint32_t produced = 0;
            const uint32_t limit = static_cast<uint32_t>(output.size());
            all_equal = all_equal && kdzk_ypak_decode_dydi(&ctx, bytes.data(), output.data(), &produced, limit) == 0
                        && output == expected;
            output.assign(output.size(), 0);
        }
        return all_equal;
    };
    auto other = std::async(std::launch::async, decode_often, streams[0]);
    EXPECT_TRUE(decode_often(streams[1]));
    EXPECT_TRUE(other.get());
}

TEST_F(StreamTest, LooksAtThreeFlagsOnly) {
    YpakStream stream = stream_of(9, 50);
    for (int flags = 0; flags < 256; ++flags) {
        stream.flags = static_cast<uint8_t>(flags);
        host_.calls.clear();
        if ((flags & 0x0B) == 2)
            expect_decoded(stream);
        else
            expect_refused(stream, 4096);
    }
}

TEST_F(StreamTest, IsRefusedBeforeAnythingIsAllocated) {
    const YpakStream good = stream_of(9, 50);
    expect_refused(good, static_cast<uint32_t>(good.decoded().size()) - 1);
    expect_refused(stream_of(1025, 10), 4096);
    expect_refused({}, 4096);  // no symbols
    for (const char *const magic : {"YPAL", "XPAK", "KAPY"})
        expect_refused({.symbols = good.symbols, .codes = good.codes, .magic = magic}, 4096);
    expect_refused({.symbols = good.symbols, .codes = good.codes, .version = 1}, 4096);
}

TEST_F(StreamTest, OfAnotherLengthThanItSaysIsDecodedAndRefused) {
    for (const size_t codes : {50u, 0u})
        for (const uint32_t excess : {1u, UINT32_MAX}) {
            YpakStream stream = stream_of(9, codes);
            stream.excess_length = excess;
            if (codes == 0 && excess != 1)
                continue;
            host_.calls.clear();
            EXPECT_EQ(decode(stream, 4096), KDZK_STATUS_REFUSED);
            ASSERT_EQ(produced_, stream.decoded().size());
            EXPECT_EQ(std::string(output_, output_ + produced_), stream.decoded());
            EXPECT_EQ(host_.calls.size(), 4u);
        }
}

}  // namespace
