// Looking at a source and reading it.
#include "source.h"
#include "value_study.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace qvk {
namespace {

constexpr std::array<const char *, 5> kTypeOfAffinity = {"", "TEXT", "NUM", "INT", "REAL"};

bool contains(const std::string &text, const char *part) {
    for (size_t at = 0; at < text.size(); ++at) {
        if (sqlite3_strnicmp(text.c_str() + at, part, static_cast<int>(std::strlen(part))) == 0) {
            return true;
        }
    }
    return false;
}

// SQLite's rule for the affinity of a declared type.
Affinity affinity_of(const std::string &type) {
    static constexpr std::pair<const char *, Affinity> kParts[] = {
        {"INT", Affinity::integer}, {"CHAR", Affinity::text}, {"CLOB", Affinity::text}, {"TEXT", Affinity::text},
        {"BLOB", Affinity::blob},   {"REAL", Affinity::real}, {"FLOA", Affinity::real}, {"DOUB", Affinity::real}};
    for (const auto &[part, affinity] : kParts) {
        if (contains(type, part)) {
            return affinity;
        }
    }
    return type.empty() ? Affinity::blob : Affinity::numeric;
}

// As in NOCASE-8; where types make a collation pointless there may be none.
std::string collation_of(sqlite3_stmt *program, int column) {
    const char *text = reinterpret_cast<const char *>(sqlite3_column_text(program, column));
    const std::string collation = text ? text : "BINARY-8";
    return collation.substr(0, collation.rfind('-'));
}

// How SQLite compares a column, of a view's expression too, which no declaration tells: the comparison's own
// instruction in the program for "column = ?" carries affinity and collation. Where a version of SQLite has no such
// instruction to show, the column's comparisons are left to it.
void read_comparison(sqlite3 *db, const std::string &sql_name, ColumnShape &shape) {
    constexpr int kOpcode = 1, kP1 = 2, kP2 = 3, kP3 = 4, kP4 = 5, kP5 = 6;
    const std::string sql = "EXPLAIN SELECT " + quoted(shape.name) + " = ?1 FROM " + sql_name;
    int parameter_register = -1;
    for (const bool comparison : {false, true}) {
        const Statement program = prepare(db, sql);
        while (step(db, program)) {
            const std::string opcode = reinterpret_cast<const char *>(sqlite3_column_text(program.get(), kOpcode));
            if (!comparison && opcode == "Variable") {
                parameter_register = sqlite3_column_int(program.get(), kP2);
            }
            const bool compares_parameter = sqlite3_column_int(program.get(), kP1) == parameter_register
                                            || sqlite3_column_int(program.get(), kP3) == parameter_register;
            if (comparison && (opcode == "Eq" || opcode == "Ne") && compares_parameter) {
                const int affinity = (sqlite3_column_int(program.get(), kP5) & 0x47) - 'A';  // below 0: none
                shape.affinity = static_cast<Affinity>(std::max(affinity, 0));
                shape.collation = collation_of(program.get(), kP4);
                return;
            }
        }
    }
    shape.as_stored = false;
}

// Keeps the declared type where it means the same in a declaration of ours.
std::string usable_type(const char *declared, Affinity affinity) {
    const std::string type = declared ? declared : "";
    const bool usable = affinity_of(type) == affinity && !contains(type, "HIDDEN");
    return usable ? type : kTypeOfAffinity[static_cast<size_t>(affinity)];
}

Statement select_all(sqlite3 *db, const std::string &sql_name) { return prepare(db, "SELECT * FROM " + sql_name); }

std::string resolve(sqlite3 *db, const std::string &schema, const SqlName &name) {
    if (name.schema.empty()) {
        try {
            const std::string local = quoted(SqlName{schema, name.table});
            select_all(db, local);
            return local;
        } catch (const SqlError &) {
            // Not in the table's own schema: SQLite's order of schemas decides, and its message tells.
        }
    }
    select_all(db, quoted(name));
    return quoted(name);
}

ValueView column_view(sqlite3_stmt *row, int column) { return view_of(sqlite3_column_value(row, column)); }

struct Progress {
    const char *title;
    bool shown = isatty(STDERR_FILENO) != 0;

    void report(uint64_t rows) const {
        constexpr uint64_t kEvery = 1u << 16;
        if (shown && rows % kEvery == 0) {
            std::fprintf(stderr, "\rqvk: %s: %llu rows", title, static_cast<unsigned long long>(rows));
        }
    }
    void finish(uint64_t rows) const {
        if (shown) {
            std::fprintf(stderr, "\rqvk: %s: %llu rows, done\n", title, static_cast<unsigned long long>(rows));
        }
    }
};

struct FreeValue {
    void operator()(sqlite3_value *value) const { sqlite3_value_free(value); }
};
using OwnValue = std::unique_ptr<sqlite3_value, FreeValue>;

OwnValue duplicate(sqlite3_value *value) {
    OwnValue copy(sqlite3_value_dup(value));
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

}  // namespace

ValueView view_of(sqlite3_value *value) {
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        return {Type::integer, sqlite3_value_int64(value), 0, {}};
    case SQLITE_FLOAT:
        return {Type::real, 0, sqlite3_value_double(value), {}};
    case SQLITE_NULL:
        return {};
    }
    const bool text = sqlite3_value_type(value) == SQLITE_TEXT;
    const void *bytes = text ? sqlite3_value_text(value) : sqlite3_value_blob(value);
    const size_t size = static_cast<size_t>(sqlite3_value_bytes(value));
    if (!bytes && size > 0) {
        throw std::bad_alloc();
    }
    return {text ? Type::text : Type::blob, 0, 0, {static_cast<const char *>(bytes), size}};
}

Value numeric_form(sqlite3_value *value) {
    const OwnValue copy = duplicate(value);
    sqlite3_value_numeric_type(copy.get());
    return Value(view_of(copy.get()));
}

Value text_form(sqlite3_value *value) {
    Value form(view_of(value));
    if (is_number(form.view())) {
        const OwnValue copy = duplicate(value);
        form.bytes = reinterpret_cast<const char *>(sqlite3_value_text(copy.get()));
        form.type = Type::text;
    }
    return form;
}

Source find_source(sqlite3 *db, const std::string &schema, const SqlName &name) {
    Source source{resolve(db, schema, name), {}};
    const Statement rows = select_all(db, source.sql_name);
    for (int column = 0; column < sqlite3_column_count(rows.get()); ++column) {
        ColumnShape shape;
        shape.name = sqlite3_column_name(rows.get(), column);
        read_comparison(db, source.sql_name, shape);
        shape.type = usable_type(sqlite3_column_decltype(rows.get(), column), shape.affinity);
        source.columns.push_back(std::move(shape));
    }
    if (source.columns.empty()) {
        throw SqlError(source.sql_name + " has no columns");
    }
    return source;
}

void want_encodings(Source &source, const std::vector<std::pair<std::string, EncodingKind>> &encodings) {
    for (const auto &wanted : encodings) {
        const auto column = std::find_if(source.columns.begin(), source.columns.end(), [&](const ColumnShape &shape) {
            return sqlite3_stricmp(shape.name.c_str(), wanted.first.c_str()) == 0;
        });
        if (column == source.columns.end()) {
            throw SqlError("no such column: " + wanted.first);
        }
        column->wanted = wanted.second;
    }
}

std::string declaration(const Source &source) {
    std::string sql;
    for (const ColumnShape &shape : source.columns) {
        sql += sql.empty() ? "CREATE TABLE t(" : ", ";
        sql += quoted(shape.name) + ' ' + shape.type + " COLLATE " + quoted(shape.collation);
    }
    return sql + ')';
}

Table load_rows(sqlite3 *db, Source &source, const KernelLibrary *library, const TableOptions &options,
                const char *title) {
    TableBuilder builder(source.columns.size());
    for (size_t column = 0; column < source.columns.size(); ++column) {
        builder.stages[column].wanted = source.columns[column].wanted;
    }
    const Progress progress{title};
    const Statement rows = select_all(db, source.sql_name);
    while (step(db, rows)) {
        for (size_t column = 0; column < source.columns.size(); ++column) {
            builder.add(column, column_view(rows.get(), static_cast<int>(column)));
        }
        progress.report(++builder.row_count);
    }
    progress.finish(builder.row_count);

    std::vector<std::string> names;
    for (const ColumnShape &shape : source.columns) {
        names.push_back(shape.name);
    }
    Table table = builder.finish(library, names, options);
    for (size_t column = 0; column < source.columns.size(); ++column) {
        study_values(db, table, column, source.columns[column]);
    }
    if (options.compress) {
        compress(table);
    }
    return table;
}

}  // namespace qvk
