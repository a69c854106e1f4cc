// Reading the options of a virtual table.
#include "table_arguments.h"

#include "sqlite_api.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace qvk {
namespace {

constexpr int kFirstArgument = 3;  // after the names of module, schema and table
constexpr std::string_view kEncodingOf = "encoding_";

std::string trimmed(const std::string &text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// SQLite doesn't let 64M pass as it stands, so a value may be quoted.
std::string unquoted(const std::string &text) {
    const bool quoted = text.size() >= 2 && text.front() == text.back() && (text[0] == '\'' || text[0] == '"');
    return quoted ? text.substr(1, text.size() - 2) : text;
}

// A whole number and what stands behind it; without a number, all of the text does.
struct Quantity {
    uint64_t number = 0;
    std::string unit;

    explicit Quantity(const std::string &text) {
        const char *end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, number);
        unit = error == std::errc() ? trimmed({rest, end}) : "not a number: " + text;
    }
};

uint32_t parse_segment_rows(const std::string &value) {
    const Quantity rows(value);
    if (!rows.unit.empty() || rows.number < 64 || rows.number > kMaxSegmentRows || rows.number % 64 != 0) {
        throw SqlError("segment_rows has to be a multiple of 64, not " + value);
    }
    return static_cast<uint32_t>(rows.number);
}

bool parse_compress(const std::string &value) {
    if (value != "yes" && value != "no") {
        throw SqlError("compress has to be yes or no, not " + value);
    }
    return value == "yes";
}

uint64_t parse_memory_limit(const std::string &value) {
    const Quantity limit(value);
    const std::string units[] = {"", "K", "M", "G"};
    const auto unit = std::find(std::begin(units), std::end(units), limit.unit);
    const auto shift = 10 * (unit - std::begin(units));
    if (unit == std::end(units) || limit.number > std::numeric_limits<uint64_t>::max() >> shift) {
        throw SqlError("memory_limit has to be a number of bytes, or of K, M or G, not " + value);
    }
    return limit.number << shift;
}

EncodingKind parse_encoding(const std::string &value) {
    const auto known = std::find(kEncodingNames.begin(), kEncodingNames.end(), value);
    if (known == kEncodingNames.end()) {
        throw SqlError("an encoding has to be dict, rle, fixed, dynp or plain, not " + value);
    }
    return static_cast<EncodingKind>(known - kEncodingNames.begin());
}

TableArguments read_options(int argc, const char *const *argv) {
    TableArguments arguments;
    TableOptions &options = arguments.options;
    bool limited = false;
    for (int at = kFirstArgument + 1; at < argc; ++at) {
        const std::string option = argv[at];
        const size_t equals = std::min(option.find('='), option.size());
        const std::string name = trimmed(option.substr(0, equals));
        const std::string value = unquoted(trimmed(option.substr(std::min(equals + 1, option.size()))));
        if (name == "segment_rows") {
            options.segment_rows = parse_segment_rows(value);
        } else if (name == "compress") {
            options.compress = parse_compress(value);
        } else if (name == "memory_limit") {
            options.memory_limit = parse_memory_limit(value);
            limited = true;
        } else if (name.starts_with(kEncodingOf)) {
            arguments.encodings.emplace_back(unquoted(name.substr(kEncodingOf.size())), parse_encoding(value));
        } else {
            throw SqlError("unknown option: " + option);
        }
    }
    if (limited && !options.compress) {
        throw SqlError("memory_limit needs compress=yes");
    }
    return arguments;
}

}  // namespace

TableArguments read_arguments(int argc, const char *const *argv) {
    if (argc <= kFirstArgument || trimmed(argv[kFirstArgument]).empty()) {
        throw SqlError("which table? USING qvk(source [, option=value ...])");
    }
    TableArguments arguments = read_options(argc, argv);
    arguments.source = parse_name(argv[kFirstArgument]);
    return arguments;
}

}  // namespace qvk
