// SELECT * FROM qvk_stats('f'): how a virtual table's columns are encoded, and what that takes.
#include "virtual_table.h"

namespace qvk {
namespace {

constexpr const char *kDeclaration = "CREATE TABLE t(name TEXT, encoding TEXT, width INT, distinct_values INT, "
                                     "bytes INT, source_bytes INT, table_name HIDDEN)";
enum : int { kName, kEncoding, kWidth, kDistinct, kBytes, kSourceBytes, kTableName };

struct StatsTable : sqlite3_vtab {
    sqlite3 *db;
    Registry *registry;
};

// A copy, so that the table may go while a statement still reads.
struct StatsRow {
    std::string name, encoding;
    sqlite3_int64 width, distinct, bytes, source_bytes;  // width and distinct: -1 if there is no such number
};

struct StatsCursor : sqlite3_vtab_cursor {
    std::vector<StatsRow> rows;
    size_t at = 0;
};

int connect(sqlite3 *db, void *aux, int, const char *const *, sqlite3_vtab **made, char **message) {
    return shielded(message, [&] {
        if (sqlite3_declare_vtab(db, kDeclaration) != SQLITE_OK) {
            throw SqlError(sqlite3_errmsg(db));
        }
        auto table = std::make_unique<StatsTable>();
        table->db = db;
        table->registry = static_cast<std::shared_ptr<Registry> *>(aux)->get();
        *made = table.release();
    });
}

int disconnect(sqlite3_vtab *table) {
    delete static_cast<StatsTable *>(table);
    return SQLITE_OK;
}

// Without a table's name there is nothing to tell, so a plan without it is refused.
int best_index(sqlite3_vtab *, sqlite3_index_info *info) {
    for (int at = 0; at < info->nConstraint; ++at) {
        const auto &offered = info->aConstraint[at];
        if (offered.iColumn == kTableName && offered.op == SQLITE_INDEX_CONSTRAINT_EQ && offered.usable) {
            info->aConstraintUsage[at].argvIndex = 1;
            info->aConstraintUsage[at].omit = 1;
            info->estimatedCost = 100;
            return SQLITE_OK;
        }
    }
    return SQLITE_CONSTRAINT;
}

int open(sqlite3_vtab *, sqlite3_vtab_cursor **opened) {
    *opened = new (std::nothrow) StatsCursor{};
    return *opened ? SQLITE_OK : SQLITE_NOMEM;
}

int close(sqlite3_vtab_cursor *cursor) {
    delete static_cast<StatsCursor *>(cursor);
    return SQLITE_OK;
}

const VirtualTable &find_table(const StatsTable &stats, const std::string &text) {
    const SqlName wanted = parse_name(text);
    prepare(stats.db, "SELECT 1 FROM " + quoted(wanted));  // connects a table of a file that was just opened
    for (const VirtualTable *table : stats.registry->tables) {
        const bool schema_fits =
            wanted.schema.empty() || sqlite3_stricmp(wanted.schema.c_str(), table->name.schema.c_str()) == 0;
        if (schema_fits && sqlite3_stricmp(wanted.table.c_str(), table->name.table.c_str()) == 0) {
            return *table;
        }
    }
    throw SqlError("qvk_stats: " + text + " is not a qvk table");
}

StatsRow stats_of(const Column &column) {
    const Encoding &encoding = *column.encoding;
    const Dictionary *dictionary = encoding.dictionary();
    return {column.name,
            std::string(encoding.name()),
            encoding.width_bits() > 0 ? static_cast<sqlite3_int64>(encoding.width_bits()) : -1,
            dictionary ? static_cast<sqlite3_int64>(dictionary->size()) : -1,
            static_cast<sqlite3_int64>(encoding.bytes()),
            static_cast<sqlite3_int64>(column.source_bytes)};
}

int filter(sqlite3_vtab_cursor *base, int, const char *, int, sqlite3_value **arguments) {
    return shielded(&base->pVtab->zErrMsg, [&] {
        StatsCursor &cursor = *static_cast<StatsCursor *>(base);
        cursor.rows.clear();
        cursor.at = 0;
        const char *name = reinterpret_cast<const char *>(sqlite3_value_text(arguments[0]));
        for (const Column &column :
             find_table(*static_cast<StatsTable *>(base->pVtab), name ? name : "").table.columns) {
            cursor.rows.push_back(stats_of(column));
        }
    });
}

int next(sqlite3_vtab_cursor *cursor) {
    ++static_cast<StatsCursor *>(cursor)->at;
    return SQLITE_OK;
}

int at_end(sqlite3_vtab_cursor *base) {
    const StatsCursor &cursor = *static_cast<StatsCursor *>(base);
    return cursor.at >= cursor.rows.size();
}

void give_text(sqlite3_context *context, const std::string &text) {
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void give_number(sqlite3_context *context, sqlite3_int64 number) {
    number < 0 ? sqlite3_result_null(context) : sqlite3_result_int64(context, number);
}

int column(sqlite3_vtab_cursor *base, sqlite3_context *context, int index) {
    const StatsCursor &cursor = *static_cast<StatsCursor *>(base);
    const StatsRow &row = cursor.rows[cursor.at];
    switch (index) {
    case kName:
        give_text(context, row.name);
        break;
    case kEncoding:
        give_text(context, row.encoding);
        break;
    case kWidth:
        give_number(context, row.width);
        break;
    case kDistinct:
        give_number(context, row.distinct);
        break;
    case kBytes:
        give_number(context, row.bytes);
        break;
    case kSourceBytes:
        give_number(context, row.source_bytes);
        break;
    }
    return SQLITE_OK;
}

int row_id(sqlite3_vtab_cursor *base, sqlite3_int64 *id) {
    *id = static_cast<sqlite3_int64>(static_cast<StatsCursor *>(base)->at) + 1;
    return SQLITE_OK;
}

}  // namespace

// Without xCreate a module can only be used by its own name, as a table-valued function.
const sqlite3_module kStatsModule = [] {
    sqlite3_module module{};
    module.xConnect = connect;
    module.xBestIndex = best_index;
    module.xDisconnect = disconnect;
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
