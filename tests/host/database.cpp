#include "database.h"

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

extern "C" int sqlite3_qvksqlite_init(sqlite3 *, char **, const void *api);

Database::Database(const std::string &path, Extension extension) {
    const auto linked = reinterpret_cast<void (*)()>(sqlite3_qvksqlite_init);
    if (extension == Extension::linked) {
        sqlite3_auto_extension(linked);
    }
    EXPECT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
    sqlite3_cancel_auto_extension(linked);
    if (extension == Extension::loaded) {
        char *message = nullptr;
        sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 1, nullptr);
        EXPECT_EQ(sqlite3_load_extension(handle, QVK_EXTENSION, nullptr, &message), SQLITE_OK) << message;
    }
}

std::string Database::run(const std::string &sql) {
    char *message = nullptr;
    sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, &message);
    const std::string text = message ? message : "";
    sqlite3_free(message);
    return text;
}

std::string Database::ask(const std::string &sql) {
    std::string rows;
    const auto add = [](void *to, int columns, char **values, char **) {
        for (int column = 0; column < columns; ++column) {
            *static_cast<std::string *>(to) +=
                std::string(column > 0 ? "|" : "") + (values[column] ? values[column] : "NULL");
        }
        *static_cast<std::string *>(to) += '\n';
        return 0;
    };
    char *message = nullptr;
    EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), add, &rows, &message), SQLITE_OK) << message << " in " << sql;
    sqlite3_free(message);
    return rows;
}

void Database::bind(sqlite3_stmt *statement, const std::string &literals) {
    if (literals.empty()) {
        return;
    }
    sqlite3_stmt *values = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(handle, ("SELECT " + literals).c_str(), -1, &values, nullptr), SQLITE_OK);
    sqlite3_step(values);
    for (int at = 0; at < sqlite3_column_count(values); ++at) {
        sqlite3_bind_value(statement, at + 1, sqlite3_column_value(values, at));
    }
    sqlite3_finalize(values);
}

namespace {

sqlite3_stmt *prepare(Database &db, const std::string &query, const std::string &table, const std::string &parameters) {
    std::string sql = query;
    for (size_t at = sql.find("$T"); at != sql.npos; at = sql.find("$T", at)) {
        sql.replace(at, 2, table);
    }
    sqlite3_stmt *statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db.handle, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db.handle) << " in " << sql;
    db.bind(statement, parameters);
    return statement;
}

bool same_value(sqlite3_stmt *a, sqlite3_stmt *b, int column) {
    const int type = sqlite3_column_type(a, column);
    if (type != sqlite3_column_type(b, column)) {
        return false;
    }
    if (type == SQLITE_INTEGER) {
        return sqlite3_column_int64(a, column) == sqlite3_column_int64(b, column);
    }
    if (type == SQLITE_FLOAT) {
        const double x = sqlite3_column_double(a, column), y = sqlite3_column_double(b, column);
        return std::memcmp(&x, &y, sizeof x) == 0;
    }
    const void *x = sqlite3_column_blob(a, column), *y = sqlite3_column_blob(b, column);
    const int bytes = sqlite3_column_bytes(a, column);
    return bytes == sqlite3_column_bytes(b, column)
           && (bytes == 0 || std::memcmp(x, y, static_cast<size_t>(bytes)) == 0);
}

bool same_row(sqlite3_stmt *a, sqlite3_stmt *b) {
    for (int column = 0; column < sqlite3_column_count(a); ++column) {
        if (!same_value(a, b, column)) {
            return false;
        }
    }
    return true;
}

void import_csv(Database &db, const std::string &file, const std::string &insert) {
    FILE *csv = popen(("xz -dc " QVK_DATA "/" + file).c_str(), "r");
    sqlite3_stmt *statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db.handle, insert.c_str(), -1, &statement, nullptr), SQLITE_OK);
    char line[512];
    while (csv && std::fgets(line, sizeof line, csv)) {
        char *rest = line;
        for (int field = 1; field <= sqlite3_bind_parameter_count(statement); ++field) {
            sqlite3_bind_text(statement, field, strsep(&rest, ",\n"), -1, SQLITE_TRANSIENT);
        }
        sqlite3_step(statement);
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    ASSERT_EQ(pclose(csv), 0) << file;
}

}  // namespace

uint64_t expect_same_rows(Database &db, const std::string &query, const std::string &plain, const std::string &qvk,
                          const std::string &parameters) {
    sqlite3_stmt *a = prepare(db, query, plain, parameters), *b = prepare(db, query, qvk, parameters);
    uint64_t rows = 0;
    int more_a = sqlite3_step(a), more_b = sqlite3_step(b);
    while (more_a == SQLITE_ROW && more_b == SQLITE_ROW && same_row(a, b)) {
        ++rows;
        more_a = sqlite3_step(a);
        more_b = sqlite3_step(b);
    }
    EXPECT_TRUE(more_a == SQLITE_DONE && more_b == SQLITE_DONE)
        << "row " << rows << " of " << query << " with " << parameters << "; " << sqlite3_errmsg(db.handle);
    sqlite3_finalize(a);
    sqlite3_finalize(b);
    return rows;
}

Database &flights() {
    static Database &db = *[] {
        auto *made = new Database;
        EXPECT_EQ(made->run("CREATE TABLE flights(date TEXT, time TEXT, delay INTEGER, distance INTEGER, origin TEXT,"
                            "destination TEXT); CREATE TABLE airports(iata TEXT PRIMARY KEY, state TEXT); BEGIN"),
                  "");
        import_csv(*made, "flights.csv.xz", "INSERT INTO flights VALUES(?, ?, ?, ?, ?, ?)");
        import_csv(*made, "airports.csv.xz", "INSERT INTO airports VALUES(?1, ?4)");
        EXPECT_EQ(
            made->run("COMMIT; DELETE FROM flights WHERE date = 'date';"
                      "CREATE VIEW flights_by_state AS SELECT f.*, CAST(substr(f.date, 6, 2) AS INTEGER) AS month,"
                      "  nullif(o.state, 'NA') AS state FROM flights f LEFT JOIN airports o ON o.iata = f.origin;"
                      "CREATE TABLE plain AS SELECT * FROM flights_by_state;"
                      "CREATE VIRTUAL TABLE f USING qvk(flights_by_state)"),
            "");
        return made;
    }();
    return db;
}
