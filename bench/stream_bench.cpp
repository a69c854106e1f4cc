// stream_bench.cpp: rates of stream decompression and of the sample host's encoder over real text and packed codes, at
// code widths of 8, 9 and 10 bits, beside a decoder that goes code by code and beside LZ4 over the same bytes.
#include <benchmark/benchmark.h>
#include <lz4.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kdzk.h"
#include "rates.h"
#include "store/code_stream.h"
#include "ypak/checker.h"
#include "ypak/encoder.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Text {
    std::string name;
    Bytes bytes;
};

// Enough for any search to settle, and what is decoded stays in the second cache.
constexpr size_t kTextBytes = 1 << 20;

void append_file(Bytes &to, const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    to.insert(to.end(), std::istreambuf_iterator<char>(file), {});
}

Bytes unpacked(const std::string &name) {
    Bytes bytes;
    const std::string command = "xz -dc " QVK_SOURCE "/host/data/" + name;
    FILE *pipe = popen(command.c_str(), "r");
    for (int byte; pipe && (byte = std::getc(pipe)) != EOF;)
        bytes.push_back(uint8_t(byte));
    if (!pipe || pclose(pipe) != 0)
        std::abort();
    return bytes;
}

// Of folders enough to make a text, file by file in the order of their names.
Bytes sources() {
    std::vector<std::filesystem::path> paths;
    for (const char *folder : {"frame", "bitvec", "predicates", "host/store", "host/sqlite", "tests"})
        for (const auto &entry : std::filesystem::directory_iterator(std::string(QVK_SOURCE "/") + folder))
            if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp")
                paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    Bytes bytes;
    for (const auto &path : paths)
        append_file(bytes, path);
    return bytes;
}

Bytes licences() {
    Bytes bytes;
    for (const char *name : {"Apache-2.0", "Artistic", "GFDL-1.3", "GPL-2", "GPL-3", "LGPL-2.1", "MPL-2.0"})
        append_file(bytes, std::string("/usr/share/common-licenses/") + name);
    return bytes;
}

// The hours of the flights in 5 bits each, as a column holds them.
Bytes packed_hours(const Bytes &flights) {
    std::vector<uint32_t> codes;
    std::string line;
    for (const uint8_t byte : flights) {
        line.push_back(char(byte));
        if (byte != '\n')
            continue;
        unsigned hour = 0;
        if (std::sscanf(line.c_str(), "%*[^,],%2u", &hour) == 1)
            codes.push_back(hour);
        line.clear();
    }
    return qvk::pack_codes(codes, 5);
}

std::vector<Text> texts() {
    Bytes flights = unpacked("flights.csv.xz");
    std::vector<Text> all = {{"flights", flights},
                             {"airports", unpacked("airports.csv.xz")},
                             {"sources", sources()},
                             {"licences", licences()},
                             {"hours", packed_hours(flights)}};
    for (Text &text : all) {
        if (text.bytes.empty())
            std::abort();
        text.bytes.resize(std::min(text.bytes.size(), kTextBytes));
    }
    return all;
}

struct Stream {
    Bytes bytes;  // with the slack that decoders may read
    qvk::StreamLayout layout;

    Stream(const Bytes &text, uint32_t code_bits) {
        qvk::SymbolSearch search = qvk::kUsualSearch;
        search.code_bits = code_bits;
        bytes = qvk::encode_stream(text, search);
        const qvk::CheckedStream checked = qvk::check_stream(bytes);
        if (!checked.is_well_formed())
            std::abort();
        layout = checked.layout;
        bytes.resize(bytes.size() + qvk::kStreamSlackBytes);
    }
};

void *allocate(void *, uint64_t size, const char *, uint64_t, uint64_t, uint64_t *) { return std::malloc(size); }
void release(void *, void *block, uint64_t) { std::free(block); }

void decode(const Stream &stream, Bytes &output) {
    kdzk_ypak_ctx context = {nullptr, nullptr, allocate, release};
    uint32_t produced;
    if (kdzk_ypak_decode_dydi(&context, stream.bytes.data(), output.data(), &produced, uint32_t(output.size())) != 0)
        std::abort();
    benchmark::ClobberMemory();
}

void decode_by(const PlainLoops &loops, const Stream &stream, Bytes &output) {
    const qvk::StreamLayout &layout = stream.layout;
    std::vector<uint64_t> symbols(layout.symbol_count);
    std::vector<uint8_t> lengths(layout.symbol_count);
    const uint8_t *symbol = stream.bytes.data() + layout.symbol_bytes_at;
    for (uint32_t i = 0; i < layout.symbol_count; ++i) {
        const uint8_t pair = stream.bytes[layout.symbol_lengths_at + i / 2];
        lengths[i] = i % 2 == 0 ? pair >> 4 : pair & 15;
        std::memcpy(&symbols[i], symbol, lengths[i]);
        symbol += lengths[i];
    }
    loops.decode_stream(
        {stream.bytes.data() + layout.codes_at, layout.code_bits, layout.code_count, symbols.data(), lengths.data()},
        output.data(), output.size());
    benchmark::ClobberMemory();
}

struct Sizes {
    std::string name;
    size_t before, after;
};
std::vector<Sizes> sizes;

void register_decoders(const Text &text) {
    const std::string lz4 = "lz4/" + text.name;
    const auto block = std::make_shared<Bytes>(size_t(LZ4_compressBound(int(text.bytes.size()))));
    block->resize(size_t(LZ4_compress_default(reinterpret_cast<const char *>(text.bytes.data()),
                                              reinterpret_cast<char *>(block->data()), int(text.bytes.size()),
                                              int(block->size()))));
    const auto output = std::make_shared<Bytes>(text.bytes.size());
    sizes.push_back({lz4, text.bytes.size(), block->size()});
    measure(lz4, "", {text.bytes.size(), 0}, [=] {
        return [=] {
            benchmark::DoNotOptimize(LZ4_decompress_safe(reinterpret_cast<const char *>(block->data()),
                                                         reinterpret_cast<char *>(output->data()), int(block->size()),
                                                         int(output->size())));
            benchmark::ClobberMemory();
        };
    });
    uint32_t last_bits = 0;  // where wider codes don't pay, they aren't used
    for (const uint32_t widest_bits : {8u, 9u, 10u}) {
        const auto stream = std::make_shared<Stream>(text.bytes, widest_bits);
        if (std::exchange(last_bits, stream->layout.code_bits) == stream->layout.code_bits)
            continue;
        const std::string bits = std::to_string(stream->layout.code_bits) + "bit/" + text.name;
        const Work work = {text.bytes.size(), stream->layout.code_count};
        sizes.push_back({"ypak_" + bits, work.bytes, stream->bytes.size() - qvk::kStreamSlackBytes});
        measure_plain("plain_" + bits, lz4, work,
                      [=](const PlainLoops &loops) { return [=, &loops] { decode_by(loops, *stream, *output); }; });
        measure(
            "ypak_" + bits, lz4, work, [=] { return [=] { decode(*stream, *output); }; }, "plain_" + bits);
    }
}

struct NamedSearch {
    const char *name;
    qvk::SymbolSearch search;
};

void register_encoders(const Text &text) {
    for (const auto &[name, search] : {NamedSearch{"quick", qvk::kQuickSearch}, NamedSearch{"usual", qvk::kUsualSearch},
                                       NamedSearch{"thorough", qvk::kThoroughSearch}}) {
        const std::string full_name = std::string("encode_") + name + "/" + text.name;
        sizes.push_back({full_name, text.bytes.size(), qvk::encode_stream(text.bytes, search).size()});
        measure(full_name, "", {text.bytes.size(), 0}, [&text, search = search] {
            return [&text, search] { benchmark::DoNotOptimize(qvk::encode_stream(text.bytes, search).data()); };
        });
    }
}

// Adds what only streams have: cycles a code, and how many bytes become one.
class StreamTable : public RateTable {
  public:
    void Finalize() override {
        RateTable::Finalize();
        std::printf("\n%-48s %12s %12s %12s\n", "", "bytes", "compression", "cycles/code");
        for (const Sizes &size : sizes) {
            std::printf("%-48s %12zu %12.2f", size.name.c_str(), size.after, double(size.before) / double(size.after));
            const double codes_per_second = best_of(size.name).rows_per_second;
            if (codes_per_second > 0)
                std::printf(" %12.2f", cycles_per_second() / codes_per_second);
            std::printf("\n");
        }
    }
};

}  // namespace

int main(int argc, char **argv) {
    if (!begin_program(argc, argv))
        return 2;
    const std::vector<Text> all = texts();
    for (const Text &text : all) {
        register_decoders(text);
        register_encoders(text);
    }
    StreamTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
}
