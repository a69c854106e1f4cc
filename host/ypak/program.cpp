// ypak: makes YPAK streams of files, and files of streams.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <boost/timer/progress_display.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <string_view>

#include "checker.h"
#include "encoder.h"
#include "files.h"
#include "store/host_services.h"
#include "store/kernel_library.h"

namespace qvk {
namespace {

constexpr std::string_view kSuffix = ".ypak";
constexpr uint64_t kMostDataBytes = UINT32_MAX;
// No stream of so much data takes more: ten bits a byte, the table, and the extended form's gap.
constexpr uint64_t kMostStreamBytes = kMostDataBytes / 8 * 10 + (64 << 10) + (32 << 20);

const std::map<std::string, SymbolSearch> kSearches = {
    {"quick", kQuickSearch}, {"usual", kUsualSearch}, {"thorough", kThoroughSearch}};

struct Options {
    std::string input, output;
    bool may_replace = false;
    std::string search = "usual";
    uint32_t code_bits = 0;
    bool extended = false;
};

// A bar on standard error, for work that takes a while and where there is a terminal to show it on.
class ProgressBar {
  public:
    ProgressBar(const char *title, uint64_t total_bytes) {
        constexpr uint64_t kLongWorkBytes = 16 << 20;
        if (total_bytes >= kLongWorkBytes && isatty(STDERR_FILENO) == 1) {
            bar_ = std::make_unique<boost::timer::progress_display>(total_bytes, std::cerr, std::string(title) + "\n");
        }
    }

    ~ProgressBar() {
        if (bar_ && bar_->count() < bar_->expected_count()) {
            std::cerr << std::endl;  // the line is left to whatever went wrong
        }
    }
    ProgressBar(const ProgressBar &) = delete;

    void reach(uint64_t done_bytes) {
        if (bar_) {
            *bar_ += done_bytes - bar_->count();
        }
    }

  private:
    std::unique_ptr<boost::timer::progress_display> bar_;
};

struct Stream {
    std::vector<uint8_t> bytes;  // and the slack behind them
    StreamLayout layout;
};

Stream read_stream(const std::string &path) {
    std::vector<uint8_t> bytes = read_file(path, kMostStreamBytes);
    ProgressBar bar("Checking", bytes.size());
    const CheckedStream checked = check_stream(bytes, [&](uint64_t done) { bar.reach(done); });
    if (!checked.is_well_formed()) {
        throw FileError(path, checked.fault);
    }
    if (checked.layout.size < bytes.size()) {
        throw FileError(path, std::to_string(bytes.size() - checked.layout.size) + " bytes follow the stream");
    }
    bytes.resize(bytes.size() + kStreamSlackBytes);
    return {std::move(bytes), checked.layout};
}

// Decodes as the column store does: the data is a segment's payload.
void write_data(OutputFile &output, Stream stream, const std::string &path) {
    std::string error;
    const KernelLibrary *library = open_kernel_library(kernel_library_beside_this_code(), error);
    if (!library) {
        throw std::runtime_error(error);
    }
    HostServices services(library->ypak_decode, stream.layout.uncompressed_length);
    Segment segment;
    segment.seal(0, 8);
    segment.hold_stream(std::move(stream.bytes), stream.layout.uncompressed_length);
    services.decoded.add(segment);
    try {
        output.write({payload_of(segment, services), segment.payload_bytes()});
    } catch (const CallFailed &failure) {
        throw FileError(path, failure.what());
    }
}

void encode(const Options &options) {
    const bool is_piped = options.input == kStandardStream;
    const std::string beside = is_piped ? kStandardStream : options.input + std::string(kSuffix);
    OutputFile output(options.output.empty() ? beside : options.output, options.may_replace);
    const std::vector<uint8_t> data = read_file(options.input, kMostDataBytes);
    SymbolSearch search = kSearches.at(options.search);
    search.code_bits = options.code_bits;
    ProgressBar bar("Encoding", data.size());
    output.write(encode_stream(data, search, options.extended ? StreamForm::extended : StreamForm::plain,
                               [&](uint64_t done) { bar.reach(done); }));
    output.keep();
}

// The name without its suffix, or standard output where standard input is read.
std::string decoded_name(const std::string &input) {
    if (input == kStandardStream) {
        return input;
    }
    if (input.size() <= kSuffix.size() || !input.ends_with(kSuffix)) {
        throw FileError(input, "doesn't end in " + std::string(kSuffix) + ", so -o has to name the output");
    }
    return input.substr(0, input.size() - kSuffix.size());
}

void decode(const Options &options) {
    OutputFile output(options.output.empty() ? decoded_name(options.input) : options.output, options.may_replace);
    write_data(output, read_stream(options.input), options.input);
    output.keep();
}

void show_info(const Options &options) {
    const StreamLayout layout = read_stream(options.input).layout;
    const double data_bytes = layout.uncompressed_length;
    std::printf("form             %s\n", layout.extended ? "extended" : "plain");
    std::printf("stream bytes     %lu\n", layout.size);
    std::printf("data bytes       %u\n", layout.uncompressed_length);
    std::printf("ratio            %.3f\n", data_bytes / static_cast<double>(layout.size));
    std::printf("symbols          %u\n", layout.symbol_count);
    std::printf("code bits        %u\n", layout.code_bits);
    std::printf("codes            %u\n", layout.code_count);
    std::printf("bytes per code   %.3f\n", layout.code_count == 0 ? 0 : data_bytes / layout.code_count);
    std::printf("well-formed      yes\n");
}

CLI::App *add_command(CLI::App &program, Options &options, const char *name, const char *what, bool has_output) {
    CLI::App *const command = program.add_subcommand(name, what);
    command->add_option("input", options.input, "the file to read; - is standard input")->required();
    if (has_output) {
        command->add_option("-o,--output", options.output, "the file to write; - is standard output")
            ->check([](const std::string &name) { return name.empty() ? "the name is empty" : ""; });
        command->add_flag("-f,--force", options.may_replace, "replace the output if it exists");
    }
    return command;
}

void run(int argument_count, char **arguments) {
    Options options;
    CLI::App program("Makes YPAK streams of files, and files of streams.", "ypak");
    program.require_subcommand(1);
    CLI::App *const encoding = add_command(program, options, "encode", "write INPUT.ypak", true);
    encoding->add_option("--search", options.search, "the search for symbols: quick, usual (default) or thorough")
        ->check(CLI::IsMember(kSearches));
    encoding->add_option("--code-bits", options.code_bits, "the widest codes to be used")->check(CLI::Range(1, 10));
    encoding->add_flag("--extended", options.extended, "write the extended form");
    encoding->callback([&] { encode(options); });
    add_command(program, options, "decode", "write INPUT without .ypak", true)->callback([&] { decode(options); });
    add_command(program, options, "info", "check a stream and describe it", false)->callback([&] {
        show_info(options);
    });
    try {
        program.parse(argument_count, arguments);
    } catch (const CLI::Success &wanted) {
        program.exit(wanted);  // prints the help
    }
}

}  // namespace
}  // namespace qvk

int main(int argument_count, char **arguments) {
    try {
        qvk::run(argument_count, arguments);
        if (std::fflush(stdout) != 0) {
            throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
        }
        return 0;
    } catch (const std::bad_alloc &) {
        std::fputs("ypak: not enough memory\n", stderr);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ypak: %s\n", error.what());
    }
    return 2;
}
