// YPAK streams: what the encoder writes and what the checker lets through, both taken to the library's own decoder, in
// memory where a byte read or written too far ends the test.
#include "reference/ypak_writer.h"
#include "store/host_services.h"
#include "support/guarded_memory.h"
#include "ypak/checker.h"
#include "ypak/encoder.h"

#include <cstdio>
#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<uint8_t>;
using qvk::StreamForm;
using reference::YpakStream;

constexpr size_t kDataCapacity = 1 << 20, kStreamCapacity = 2 * kDataCapacity;

Bytes bytes_of(const std::string &text) { return Bytes(text.begin(), text.end()); }

Bytes first_flights(size_t bytes) {
    Bytes data(bytes);
    FILE *const csv = popen("xz -dc " QVK_DATA "/flights.csv.xz 2>/dev/null", "r");
    data.resize(csv ? std::fread(data.data(), 1, bytes, csv) : 0);
    if (csv) {
        pclose(csv);
    }
    return data;
}

class Ypak : public testing::Test {
  protected:
    Bytes random_bytes(size_t bytes, uint64_t values) {
        Bytes data(bytes);
        for (uint8_t &byte : data) {
            byte = static_cast<uint8_t>(random_.below(values));
        }
        return data;
    }

    // Some values far more often than others.
    Bytes skewed(size_t bytes, uint64_t values) {
        Bytes data(bytes);
        for (uint8_t &byte : data) {
            byte = static_cast<uint8_t>(random_.below(1 + random_.below(values)) * 37);
        }
        return data;
    }

    qvk::CheckedStream check(const Bytes &stream) {
        return qvk::check_stream({stream_.ending_with(stream.data(), stream.size()), stream.size()});
    }

    // Of a stream that the checker accepts.
    void decode(const Bytes &stream, uint32_t data_bytes) {
        const kdzk_host_env &host = services_.entries;
        kdzk_ypak_ctx ctx{host.env, host.heap, host.stream_alloc, host.stream_free};
        const void *const source = stream_.ending_with(stream.data(), stream.size(), qvk::kStreamSlackBytes);
        uint32_t produced = 0;
        data_.restore();
        decoded_ = data_.ending(data_bytes);
        ASSERT_EQ(host.ypak_decode(&ctx, source, decoded_, &produced, data_bytes), KDZK_STATUS_OK);
        ASSERT_EQ(produced, data_bytes);
        ASSERT_TRUE(data_.unchanged_but(decoded_, data_bytes));
    }

    void expect_round_trip(const Bytes &data, const qvk::SymbolSearch &search, StreamForm form) {
        const Bytes stream = encode_stream(data, search, form);
        const qvk::CheckedStream checked = check(stream);
        ASSERT_EQ(checked.fault, "");
        ASSERT_EQ(checked.layout.size, stream.size());
        ASSERT_EQ(checked.layout.extended, form == StreamForm::extended);
        ASSERT_LE(stream.size(), data.size() + 1000);
        decode(stream, static_cast<uint32_t>(data.size()));
        ASSERT_EQ(Bytes(decoded_, decoded_ + data.size()), data);
    }

    void expect_round_trips(const Bytes &data) {
        for (const qvk::SymbolSearch &search : {qvk::kQuickSearch, qvk::kUsualSearch, qvk::kThoroughSearch}) {
            expect_round_trip(data, search, StreamForm::plain);
        }
        expect_round_trip(data, {.sample_bytes = 4 << 10, .sampled_one_in = 1, .rounds = 4, .code_bits = 8},
                          StreamForm::extended);
        expect_round_trip(data, {.sample_bytes = 1, .sampled_one_in = 1, .rounds = 1, .code_bits = 1},
                          StreamForm::plain);
    }

    qvk::HostServices services_{kdzk_ypak_decode_dydi, 0};
    support::Random random_;
    support::GuardedMemory stream_{kStreamCapacity, random_}, data_{kDataCapacity, random_};
    uint8_t *decoded_ = nullptr;
};

TEST_F(Ypak, RoundTripsShortAndMonotonousData) {
    for (size_t length = 0; length < 20; ++length) {
        expect_round_trips(Bytes(length, 0));
        expect_round_trips(Bytes(length, 0xFF));
        expect_round_trips(skewed(length, 256));
    }
    for (const char *const period : {"ab", "abc", "\x01\x01\x02", "abcdefgh", "abcdefghi"}) {
        std::string text;
        while (text.size() < 5000) {
            text += period;
            expect_round_trip(bytes_of(text), qvk::kQuickSearch, StreamForm::plain);
        }
    }
    EXPECT_LT(qvk::encode_stream(Bytes(kDataCapacity, 'x')).size(), 40u);
}

TEST_F(Ypak, RoundTripsDataOfEveryAlphabet) {
    for (const uint64_t values : {2u, 3u, 4u, 5u, 9u, 17u, 60u, 128u, 129u, 255u, 256u}) {
        expect_round_trips(skewed(1 + random_.below(30'000), values));
    }
    expect_round_trips(random_bytes(100'000, 256));
    for (size_t length = 60; length < 130; ++length) {  // hardly any symbol pays
        expect_round_trip(random_bytes(length, 4), qvk::kUsualSearch, StreamForm::plain);
    }
}

// Two bytes each, so many that codes of ten bits can't hold them all.
TEST_F(Ypak, RoundTripsMorePairsThanSymbols) {
    Bytes data;
    for (int copies = 0; copies < 40; ++copies) {
        for (uint32_t pair = 0; pair < 1024; ++pair) {
            data.insert(data.end(), {static_cast<uint8_t>(pair / 32), static_cast<uint8_t>(128 + pair % 32)});
        }
    }
    expect_round_trips(data);
}

// Byte values that no sample may have seen, at the end and in places.
TEST_F(Ypak, RoundTripsWhatTheSampleMisses) {
    Bytes data = skewed(900'000, 20);
    for (uint32_t value = 0; value < 256; ++value) {
        data[random_.below(data.size())] = static_cast<uint8_t>(value);
    }
    data.back() = 0xAB;
    expect_round_trips(data);
}

TEST_F(Ypak, MakesTextSmallAlwaysAlike) {
    const Bytes data = first_flights(700'000);
    ASSERT_EQ(data.size(), 700'000u);
    expect_round_trips(data);
    const size_t usual = qvk::encode_stream(data).size();
    EXPECT_EQ(qvk::encode_stream(data), qvk::encode_stream(data));
    EXPECT_LT(usual, data.size() / 5 * 2);
    EXPECT_LT(qvk::encode_stream(data, qvk::kThoroughSearch).size(), usual);
    for (const uint32_t code_bits : {7u, 8u, 9u}) {
        const Bytes narrow = qvk::encode_stream(data, {64 << 10, 4, 6, code_bits});
        EXPECT_EQ(check(narrow).layout.code_bits, code_bits);
        EXPECT_GT(narrow.size(), usual);
    }
}

struct Fault {
    const char *text;
    YpakStream stream;
    size_t patched_at = 0, cut_to = SIZE_MAX;
    Bytes patch = {};
};

YpakStream nine_symbols() {
    return {.symbols = {"a", "bc", "def", "ghij", "k", "l", "m", "n", "opqrstuv"}, .codes = {0, 1, 2, 3, 8, 8, 4}};
}

YpakStream with(YpakStream stream, auto change) {
    change(stream);
    return stream;
}

TEST_F(Ypak, CheckerNamesEachFault) {
    const YpakStream good = nine_symbols();
    const YpakStream extended = with(good, [](YpakStream &to) { to.aux_count = 1; });
    ASSERT_EQ(check(good.bytes()).fault, "");
    ASSERT_EQ(check(extended.bytes()).fault, "");
    constexpr size_t kLengthsAt = 18, kSymbolsAt = 23, kCodeCountAt = 45, kSpanAt = kCodeCountAt + 18 + 4;
    const Fault faults[] = {
        {"ends in the header", {}, 0, 17},
        {"begin with YPAK", with(good, [](YpakStream &to) { to.magic = "YPAC"; })},
        {"version 1 ", with(good, [](YpakStream &to) { to.version = 1; })},
        {"flags 0 ", with(good, [](YpakStream &to) { to.flags = 0; })},
        {"flags 3 ", with(good, [](YpakStream &to) { to.flags = 3; })},
        {"flags 10 ", with(good, [](YpakStream &to) { to.flags = 10; })},
        {"0 symbols", {}},
        {"1025 symbols", with(good, [](YpakStream &to) { to.symbols.resize(1025, "a"); })},
        {"symbols' lengths", good, 0, kSymbolsAt - 1},
        {"symbol 0 has 0 bytes", good, kLengthsAt, SIZE_MAX, {0x02}},
        {"symbol 1 has 9 bytes", good, kLengthsAt, SIZE_MAX, {0x19}},
        {"ends in the symbols", good, 0, kCodeCountAt - 1},
        {"ends in the symbols", extended, 0, kSymbolsAt + 5},
        {"number of codes", good, 0, kCodeCountAt + 3},
        {"distance to the codes", extended, 0, kSpanAt + 3},
        {"is 3 bytes, within", extended, kSpanAt, SIZE_MAX, {0, 0, 1, 0xFF}},
        {"ends after 52 of 53 bytes", good, 0, kCodeCountAt + 4 + 3},
        {"ends after", extended, kSpanAt, SIZE_MAX, {0xFF, 0xFF, 0xFF, 0xFF}},
        {"ends after", good, kCodeCountAt, SIZE_MAX, {0xFF, 0xFF, 0xFF, 0xFF}},
        {"code 6 is 15, of 9", good, kCodeCountAt + 4 + 3, SIZE_MAX, {0xF0}},
        {"64 codes of 2 bits", {.symbols = {"a", "b", "c"}, .codes = std::vector<uint64_t>(64)}},
        {"give 27 bytes, the header says 28", with(good, [](YpakStream &to) { to.excess_length = 1; })},
        {"give 34359738360 bytes", {.symbols = {"abcdefgh"}, .codes = {0}}, 27, SIZE_MAX, {0xFF, 0xFF, 0xFF, 0xFF}},
    };
    for (const Fault &fault : faults) {
        Bytes bytes = fault.stream.bytes();
        std::copy(fault.patch.begin(), fault.patch.end(), bytes.begin() + static_cast<int64_t>(fault.patched_at));
        bytes.resize(std::min(bytes.size(), fault.cut_to));
        const std::string found = check(bytes).fault;
        EXPECT_NE(found.find(fault.text), found.npos) << "'" << found << "' instead of '" << fault.text << "'";
    }
}

// A code out of range is found wherever it stands.
TEST_F(Ypak, CheckerLooksAtEveryCode) {
    for (const size_t symbols : {5u, 9u, 100u, 129u, 300u, 600u}) {
        const size_t count = 1 + random_.below(300);
        const YpakStream good{.symbols = std::vector<std::string>(symbols, "abc"),
                              .codes = std::vector<uint64_t>(count, symbols - 1)};
        YpakStream larger = good;
        larger.symbols.emplace_back("abc");
        const auto code_bytes = static_cast<int64_t>((count * good.code_bits() + 7) / 8);
        for (size_t at = 0; at < count; ++at) {
            larger.codes[at] = symbols;
            Bytes bad = good.bytes();
            const Bytes with_codes = larger.bytes();
            std::copy(with_codes.end() - code_bytes, with_codes.end(), bad.end() - code_bytes);
            ASSERT_EQ(check(bad).fault, "code " + std::to_string(at) + " is " + std::to_string(symbols) + ", of "
                                            + std::to_string(symbols) + " symbols");
            larger.codes[at] = 0;
        }
        ASSERT_EQ(check(good.bytes()).fault, "");
    }
}

// Changes a stream somewhere: bits, bytes, its end, or a piece of it for a piece of another.
void mutate(Bytes &stream, const Bytes &other, support::Random &random) {
    const size_t header_or_all = random.below(2) == 0 ? std::min<size_t>(stream.size(), 60) : stream.size();
    switch (random.below(6)) {
    case 0:
        stream.resize(random.below(stream.size()));
        return;
    case 1: {
        const size_t from = random.below(std::min(stream.size(), other.size()));
        const size_t length = random.below(std::min(stream.size(), other.size()) - from);
        std::copy_n(other.begin() + static_cast<int64_t>(from), length, stream.begin() + static_cast<int64_t>(from));
        return;
    }
    case 2:
        stream[random.below(header_or_all)] = static_cast<uint8_t>(random.word());
        return;
    default:
        stream[random.below(header_or_all)] ^= static_cast<uint8_t>(1 << random.below(8));
    }
}

// Gives the header the length that the checker says the codes have, so that more than flawless streams get through.
void mend_length(Bytes &stream, const std::string &fault) {
    unsigned long length = 0;
    if (std::sscanf(fault.c_str(), "its codes give %lu bytes", &length) == 1 && length <= UINT32_MAX) {
        for (uint32_t byte = 0; byte < 4; ++byte) {
            stream[12 + byte] = static_cast<uint8_t>(length >> (24 - 8 * byte));
        }
    }
}

TEST_F(Ypak, WhatTheCheckerAcceptsIsDecodedWithinItsBounds) {
    std::vector<Bytes> streams = {nine_symbols().bytes(), YpakStream{.symbols = {"abcde"}, .codes = {0, 0, 0}}.bytes(),
                                  YpakStream{.symbols = {"ab", "c", "def"}, .codes = {0, 1, 2, 2, 1}}.bytes()};
    for (const uint64_t values : {3u, 6u, 20u, 100u, 256u}) {
        const Bytes data = skewed(200 + random_.below(3000), values);
        streams.push_back(qvk::encode_stream(data));
        streams.push_back(qvk::encode_stream(data, qvk::kQuickSearch, StreamForm::extended));
    }
    constexpr int kCases = 10'000;
    int accepted = 0;
    for (int at = 0; at < kCases; ++at) {
        Bytes stream = random_.one_of(streams);
        for (uint64_t times = 1 + random_.below(3); times > 0 && !stream.empty(); --times) {
            mutate(stream, random_.one_of(streams), random_);
        }
        mend_length(stream, check(stream).fault);
        const qvk::CheckedStream checked = check(stream);
        if (checked.is_well_formed() && checked.layout.uncompressed_length <= kDataCapacity) {
            ++accepted;
            stream.resize(checked.layout.size);
            decode(stream, checked.layout.uncompressed_length);
            ASSERT_FALSE(HasFatalFailure()) << "case " << at;
        }
    }
    EXPECT_GT(accepted, kCases / 10);
    EXPECT_LT(accepted, kCases * 9 / 10);
}

}  // namespace
