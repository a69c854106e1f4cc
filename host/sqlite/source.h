// The table or view that a virtual table is made from: how its columns compare, and its rows.
#pragma once

#include "sql_name.h"
#include "sqlite_api.h"
#include "store/table.h"

namespace qvk {

enum class Affinity : uint8_t { blob, text, numeric, integer, real };

// A text of the column that numeric affinity would turn into a number.
struct NumericTwin {
    Value text, number;
};

// What decides how SQLite compares a column.
struct ColumnShape {
    std::string name;
    std::string type;  // as declared
    Affinity affinity = Affinity::blob;
    std::string collation = "BINARY";
    std::optional<EncodingKind> wanted;

    // Known once the rows are in.
    bool as_stored = true;  // it compares as the values stand: none changes under its own affinity
    bool has_texts = true;
    std::vector<NumericTwin> twins;  // of columns with text or no affinity, by ascending number
    bool has_all_twins = true;       // else there were too many to keep
};

struct Source {
    std::string sql_name;
    std::vector<ColumnShape> columns;
};

// The source called name; without a schema in it, one in the schema of the virtual table comes first.
Source find_source(sqlite3 *db, const std::string &schema, const SqlName &name);

// By name of the column.
void want_encodings(Source &source, const std::vector<std::pair<std::string, EncodingKind>> &encodings);

// A CREATE TABLE statement for columns that compare as those of the source.
std::string declaration(const Source &source);

// Takes in all rows. title names the table in the progress line, which shows if standard error is a terminal.
Table load_rows(sqlite3 *db, Source &source, const KernelLibrary *library, const TableOptions &options,
                const char *title);

ValueView view_of(sqlite3_value *value);
// The value as a comparison under numeric affinity, or text affinity, sees it.
Value numeric_form(sqlite3_value *value);
Value text_form(sqlite3_value *value);

}  // namespace qvk
