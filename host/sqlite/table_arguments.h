// The arguments of USING qvk(source [, option=value ...]).
#pragma once

#include "sql_name.h"
#include "store/table.h"

namespace qvk {

struct TableArguments {
    SqlName source;
    TableOptions options;
    std::vector<std::pair<std::string, EncodingKind>> encodings;  // wanted, by column
};

// From the arguments that SQLite hands to a module. Of an option that is given twice, the last one counts.
TableArguments read_arguments(int argc, const char *const *argv);

}  // namespace qvk
