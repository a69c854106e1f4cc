// The virtual table module qvk, and the list of its tables in a connection.
#pragma once

#include "source.h"

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
};

// The library beside the extension, or an error that says why it can't be loaded.
const KernelLibrary *require_library();

extern const sqlite3_module kTableModule;  // aux data: a std::shared_ptr<Registry>
extern const sqlite3_module kStatsModule;  // the same

}  // namespace qvk
