// Names of tables as a user writes them: name, schema.name, either part quoted in any of SQLite's ways.
#pragma once

#include <string>

namespace qvk {

struct SqlName {
    std::string schema;  // empty if none was given
    std::string table;
};

SqlName parse_name(const std::string &text);
std::string quoted(const std::string &identifier);
std::string quoted(const SqlName &name);

}  // namespace qvk
