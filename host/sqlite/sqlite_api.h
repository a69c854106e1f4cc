// SQLite as a loadable extension sees it, and how errors travel in this folder: as exceptions up to the entry points
// that SQLite calls, as result code and message from there.
#pragma once

#include <sqlite3ext.h>
SQLITE_EXTENSION_INIT3

#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace qvk {

struct SqlError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Finalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

inline Statement prepare(sqlite3 *db, const std::string &sql) {
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        throw SqlError(sqlite3_errmsg(db));
    }
    return Statement(statement);
}

inline bool step(sqlite3 *db, const Statement &statement) {
    const int result = sqlite3_step(statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw SqlError(sqlite3_errmsg(db));
    }
    return result == SQLITE_ROW;
}

// Runs an entry point's body; no exception gets past. message is where SQLite looks for the text.
template <typename Body>
int shielded(char **message, Body &&body) noexcept {
    try {
        body();
        return SQLITE_OK;
    } catch (const std::bad_alloc &) {
        return SQLITE_NOMEM;
    } catch (const std::exception &error) {
        sqlite3_free(*message);
        *message = sqlite3_mprintf("qvk: %s", error.what());
        return SQLITE_ERROR;
    }
}

}  // namespace qvk
