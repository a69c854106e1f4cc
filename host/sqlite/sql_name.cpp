// Reading and quoting names.
#include "sql_name.h"

#include "sqlite_api.h"

#include <string_view>

namespace qvk {
namespace {

// Takes one identifier off the front of text.
std::string take_identifier(std::string_view &text) {
    std::string identifier;
    const char open = text.empty() ? '\0' : text.front();
    const char close = open == '[' ? ']' : open == '"' || open == '`' || open == '\'' ? open : '\0';
    size_t at = close ? 1 : 0;
    for (; at < text.size(); ++at) {
        const bool doubled = close && close != ']' && text.substr(at, 2) == std::string{close, close};
        if (doubled) {
            ++at;
        } else if (close ? text[at] == close : std::string_view(". \t\r\n\"'`[](),;").find(text[at]) != text.npos) {
            break;
        }
        identifier += text[at];
    }
    const bool complete = !close || at < text.size();
    text.remove_prefix(complete && close ? at + 1 : at);
    return complete ? identifier : "";
}

}  // namespace

SqlName parse_name(const std::string &text) {
    std::string_view rest = text;
    SqlName name{"", take_identifier(rest)};
    if (!rest.empty() && rest.front() == '.') {
        rest.remove_prefix(1);
        name = {std::move(name.table), take_identifier(rest)};
    }
    if (name.table.empty() || !rest.empty()) {
        throw SqlError("not the name of a table: " + text);
    }
    return name;
}

std::string quoted(const std::string &identifier) {
    std::string text = "\"";
    for (const char letter : identifier) {
        text.append(letter == '"' ? 2 : 1, letter);
    }
    return text + '"';
}

std::string quoted(const SqlName &name) {
    return name.schema.empty() ? quoted(name.table) : quoted(name.schema) + '.' + quoted(name.table);
}

}  // namespace qvk
