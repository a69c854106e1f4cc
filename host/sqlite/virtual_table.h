// The virtual table module qvk, and the list of its tables in a connection.
#pragma once

#include "source.h"
#include "store/table_scan.h"

namespace qvk {

struct VirtualTable;

// One for each connection, shared by the modules of the extension.
struct Registry {
    std::vector<VirtualTable *> tables;
};

struct VirtualTable : sqlite3_vtab {
    sqlite3 *db;
    Registry *registry;
    SqlName name;
    Source source;
    Table table;
    std::shared_ptr<const KernelRuns> last_run;  // of the scan that was started last
};

// The library beside the extension, or an error that says why it can't be loaded.
const KernelLibrary *require_library();

// Makes the value a result. lifetime: SQLITE_STATIC or SQLITE_TRANSIENT.
void give(sqlite3_context *context, const ValueView &value, sqlite3_destructor_type lifetime);

// Aux data of each: a std::shared_ptr<Registry>.
extern const sqlite3_module kTableModule;
extern const sqlite3_module kStatsModule;
extern const sqlite3_module kLastRunModule;
extern const sqlite3_module kCountByModule;

}  // namespace qvk
