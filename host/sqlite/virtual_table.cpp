// CREATE VIRTUAL TABLE f USING qvk(source [, option=value ...]): a snapshot of the source in the column store.
//
// Only the declaration is persistent: whoever opens the file again encodes the source again at the first use.
#include "virtual_table.h"
#include "plan.h"
#include "table_arguments.h"

namespace qvk {
namespace {

struct Cursor : sqlite3_vtab_cursor {
    std::unique_ptr<TableScan> scan;
    bool at_end = true;
};

VirtualTable &table_of(sqlite3_vtab_cursor *cursor) { return *static_cast<VirtualTable *>(cursor->pVtab); }

// Texts of another encoding would neither sort nor come back by the bytes that the source holds.
void require_utf8(sqlite3 *db) {
    const Statement encoding = prepare(db, "PRAGMA encoding");
    step(db, encoding);
    if (std::string(reinterpret_cast<const char *>(sqlite3_column_text(encoding.get(), 0))) != "UTF-8") {
        throw SqlError("the database has to be in UTF-8");
    }
}

std::unique_ptr<VirtualTable> make_table(sqlite3 *db, Registry *registry, int argc, const char *const *argv) {
    const TableArguments arguments = read_arguments(argc, argv);
    require_utf8(db);
    const KernelLibrary *library = require_library();
    auto made = std::make_unique<VirtualTable>();
    made->db = db;
    made->registry = registry;
    made->name = {argv[1], argv[2]};
    made->source = find_source(db, argv[1], arguments.source);
    want_encodings(made->source, arguments.encodings);
    if (sqlite3_declare_vtab(db, declaration(made->source).c_str()) != SQLITE_OK) {
        throw SqlError(sqlite3_errmsg(db));
    }
    made->table = load_rows(db, made->source, library, arguments.options, argv[2]);
    return made;
}

int connect(sqlite3 *db, void *aux, int argc, const char *const *argv, sqlite3_vtab **made, char **message) {
    return shielded(message, [&] {
        Registry *registry = static_cast<std::shared_ptr<Registry> *>(aux)->get();
        std::unique_ptr<VirtualTable> table = make_table(db, registry, argc, argv);
        registry->tables.push_back(table.get());
        *made = table.release();
    });
}

int disconnect(sqlite3_vtab *vtab) {
    VirtualTable *table = static_cast<VirtualTable *>(vtab);
    std::erase(table->registry->tables, table);
    delete table;
    return SQLITE_OK;
}

int best_index(sqlite3_vtab *vtab, sqlite3_index_info *info) {
    return shielded(&vtab->zErrMsg, [&] {
        const VirtualTable &table = *static_cast<VirtualTable *>(vtab);
        choose_plan(table.db, table.table, table.source, info);
    });
}

int open(sqlite3_vtab *vtab, sqlite3_vtab_cursor **opened) {
    return shielded(&vtab->zErrMsg, [&] { *opened = new Cursor{}; });
}

int close(sqlite3_vtab_cursor *cursor) {
    delete static_cast<Cursor *>(cursor);
    return SQLITE_OK;
}

void move_on(Cursor &cursor) { cursor.at_end = !cursor.scan->advance(); }

int next(sqlite3_vtab_cursor *cursor) {
    return shielded(&cursor->pVtab->zErrMsg, [&] { move_on(*static_cast<Cursor *>(cursor)); });
}

int filter(sqlite3_vtab_cursor *base, int, const char *index_string, int, sqlite3_value **arguments) {
    return shielded(&base->pVtab->zErrMsg, [&] {
        VirtualTable &table = table_of(base);
        std::vector<Predicate> conjunction;
        for (const Constraint &constraint : read_plan(index_string)) {
            add_conjunct(conjunction, predicate_for(table.source.columns[constraint.column], constraint, *arguments++));
        }
        Cursor &cursor = *static_cast<Cursor *>(base);
        cursor.scan = std::make_unique<TableScan>(table.table, conjunction);
        table.last_run = cursor.scan->kernel_runs();
        move_on(cursor);
    });
}

int at_end(sqlite3_vtab_cursor *cursor) { return static_cast<Cursor *>(cursor)->at_end; }

int column(sqlite3_vtab_cursor *base, sqlite3_context *context, int index) {
    return shielded(&base->pVtab->zErrMsg, [&] {
        const uint32_t read = static_cast<uint32_t>(index);
        // A table outlives every statement that reads it, so what stays in place needn't be copied.
        const bool stays = table_of(base).table.columns[read].encoding->keeps_bytes_in_place();
        give(context, static_cast<Cursor *>(base)->scan->value(read), stays ? SQLITE_STATIC : SQLITE_TRANSIENT);
    });
}

int row_id(sqlite3_vtab_cursor *base, sqlite3_int64 *id) {
    *id = static_cast<sqlite3_int64>(static_cast<Cursor *>(base)->scan->table_row()) + 1;
    return SQLITE_OK;
}

}  // namespace

void give(sqlite3_context *context, const ValueView &value, sqlite3_destructor_type lifetime) {
    switch (value.type) {
    case Type::null:
        return sqlite3_result_null(context);
    case Type::integer:
        return sqlite3_result_int64(context, value.integer);
    case Type::real:
        return sqlite3_result_double(context, value.real);
    case Type::text:
        return sqlite3_result_text64(context, value.bytes.data(), value.bytes.size(), lifetime, SQLITE_UTF8);
    case Type::blob:
        return sqlite3_result_blob64(context, value.bytes.data(), value.bytes.size(), lifetime);
    }
}

const KernelLibrary *require_library() {
    std::string error;
    const KernelLibrary *library = open_kernel_library(kernel_library_beside_this_code(), error);
    if (!library) {
        throw SqlError(error);
    }
    return library;
}

const sqlite3_module kTableModule = [] {
    sqlite3_module module{};
    module.xCreate = connect;
    module.xConnect = connect;
    module.xBestIndex = best_index;
    module.xDisconnect = disconnect;
    module.xDestroy = disconnect;
    module.xOpen = open;
    module.xClose = close;
    module.xFilter = filter;
    module.xNext = next;
    module.xEof = at_end;
    module.xColumn = column;
    module.xRowid = row_id;
    return module;
}();

}  // namespace qvk
