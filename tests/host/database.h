// An SQLite database for a test, with the extension loaded, and the comparison of two statements' rows.
#pragma once

#include <sqlite3.h>

#include <string>

// The extension as users load it, or the copy that is linked into the tests, for those that reach inside.
enum class Extension { loaded, linked };

struct Database {
    sqlite3 *handle = nullptr;

    explicit Database(const std::string &path = ":memory:", Extension extension = Extension::loaded);
    Database(const Database &) = delete;
    ~Database() { sqlite3_close(handle); }

    // The error's text, or nothing.
    std::string run(const std::string &sql);
    // All rows, values separated by '|' and rows by newlines; NULL is "NULL".
    std::string ask(const std::string &sql);
    void bind(sqlite3_stmt *statement, const std::string &literals);
};

// Runs a query twice, with $T replaced by two tables, and expects the same rows in the same order, type by type and bit
// by bit. parameters: values for ?1, ?2 ... as a list of SQL literals. Returns the number of rows.
uint64_t expect_same_rows(Database &db, const std::string &query, const std::string &plain, const std::string &qvk,
                          const std::string &parameters = "");

// The flight records: a view named flights_by_state, a table of its rows named plain, and qvk over that, named f.
Database &flights();
