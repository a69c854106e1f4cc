// Table-valued functions that tell about a virtual table: qvk_stats('f'), how its columns are encoded and what that
// takes, qvk_last_run('f'), which kernels the last query ran, and qvk_count_by('f', 'column'), how many rows hold each
// of its values.
#include "store/code_counts.h"
#include "virtual_table.h"

#include <algorithm>

namespace qvk {
namespace {

// Copies, so that the table may go while a statement still reads.
using ReportRow = std::vector<Value>;

// One such function. Its arguments, the table's name and perhaps a column's, stand behind the columns, hidden.
struct Report {
    const char *name, *declaration;
    int argument_column, argument_count;  // the first one's place, and 1 or 2
    std::vector<ReportRow> (*rows)(const VirtualTable &, const std::string &column);
};

Value text(const std::string_view bytes) { return Value({Type::text, 0, 0, bytes}); }

Value number(uint64_t integer) { return Value({Type::integer, static_cast<int64_t>(integer), 0, {}}); }

std::vector<ReportRow> stats_of(const VirtualTable &table, const std::string &) {
    std::vector<ReportRow> rows;
    for (const Column &column : table.table.columns) {
        const Encoding &encoding = *column.encoding;
        const Dictionary *dictionary = encoding.dictionary();
        const PayloadBytes payload = payload_bytes(encoding);
        rows.push_back({text(column.name), text(encoding.name()),
                        encoding.width_bits() > 0 ? number(encoding.width_bits()) : Value(),
                        dictionary ? number(dictionary->size()) : Value(),
                        number(encoding.bytes() + column.hashes->bytes()), number(column.source_bytes),
                        number(payload.packed), number(payload.stored), number(payload.decoded)});
    }
    return rows;
}

std::vector<ReportRow> last_run_of(const VirtualTable &table, const std::string &) {
    std::vector<ReportRow> rows;
    for (const KernelRuns::Entry &entry : table.last_run ? table.last_run->entries : std::vector<KernelRuns::Entry>()) {
        const Column &column = table.table.columns[entry.column];
        rows.push_back({text(column.name), text(column.encoding->name()), text(kernel_name(entry.kernel)),
                        number(entry.full_scans), number(entry.selections), number(entry.batches)});
    }
    return rows;
}

const Encoding &find_column(const VirtualTable &table, const std::string &name) {
    const std::vector<Column> &columns = table.table.columns;
    const auto named = std::find_if(columns.begin(), columns.end(), [&](const Column &column) {
        return sqlite3_stricmp(column.name.c_str(), name.c_str()) == 0;
    });
    if (named == columns.end()) {
        throw SqlError("no such column: " + name);
    }
    return *named->encoding;
}

std::vector<ReportRow> counts_by(const VirtualTable &table, const std::string &column) {
    const Encoding &encoding = find_column(table, column);
    if (!encoding.dictionary()) {
        throw SqlError("column without a dictionary: " + column);
    }
    const std::vector<uint64_t> counts = count_codes(table.table, encoding);
    std::vector<ReportRow> rows;
    for (size_t code = 0; code < counts.size(); ++code) {
        rows.push_back({encoding.dictionary()->values[code], number(counts[code])});
    }
    return rows;
}

constexpr Report kStats{
    "qvk_stats",
    "CREATE TABLE t(name TEXT, encoding TEXT, width INT, distinct_values INT, bytes INT, "
    "source_bytes INT, payload_bytes INT, stored_payload_bytes INT, decoded_bytes INT, table_name HIDDEN)",
    9, 1, stats_of};
constexpr Report kLastRun{"qvk_last_run",
                          "CREATE TABLE t(name TEXT, encoding TEXT, kernel TEXT, full_scans INT, selections INT, "
                          "batches INT, table_name HIDDEN)",
                          6, 1, last_run_of};
constexpr Report kCountBy{"qvk_count_by", "CREATE TABLE t(value, count INT, table_name HIDDEN, column_name HIDDEN)", 2,
                          2, counts_by};

struct ReportTable : sqlite3_vtab {
    sqlite3 *db;
    Registry *registry;
    const Report *report;
};

struct ReportCursor : sqlite3_vtab_cursor {
    std::vector<ReportRow> rows;
    size_t at = 0;
};

template <const Report &report>
int connect(sqlite3 *db, void *aux, int, const char *const *, sqlite3_vtab **made, char **message) {
    return shielded(message, [&] {
        if (sqlite3_declare_vtab(db, report.declaration) != SQLITE_OK) {
            throw SqlError(sqlite3_errmsg(db));
        }
        auto table = std::make_unique<ReportTable>();
        table->db = db;
        table->registry = static_cast<std::shared_ptr<Registry> *>(aux)->get();
        table->report = &report;
        *made = table.release();
    });
}

int disconnect(sqlite3_vtab *table) {
    delete static_cast<ReportTable *>(table);
    return SQLITE_OK;
}

// Without all arguments there is nothing to tell, so a plan without them is refused.
int best_index(sqlite3_vtab *table, sqlite3_index_info *info) {
    const Report &report = *static_cast<ReportTable *>(table)->report;
    int found = 0;
    for (int at = 0; at < info->nConstraint; ++at) {
        const auto &offered = info->aConstraint[at];
        const int argument = offered.iColumn - report.argument_column;
        const bool is_argument = argument >= 0 && argument < report.argument_count && (found >> argument & 1) == 0;
        if (is_argument && offered.op == SQLITE_INDEX_CONSTRAINT_EQ && offered.usable) {
            info->aConstraintUsage[at].argvIndex = argument + 1;
            info->aConstraintUsage[at].omit = 1;
            found |= 1 << argument;
        }
    }
    info->estimatedCost = 100;
    return found == (1 << report.argument_count) - 1 ? SQLITE_OK : SQLITE_CONSTRAINT;
}

int open(sqlite3_vtab *, sqlite3_vtab_cursor **opened) {
    *opened = new (std::nothrow) ReportCursor{};
    return *opened ? SQLITE_OK : SQLITE_NOMEM;
}

int close(sqlite3_vtab_cursor *cursor) {
    delete static_cast<ReportCursor *>(cursor);
    return SQLITE_OK;
}

const VirtualTable &find_table(const ReportTable &from, const std::string &text) {
    const SqlName wanted = parse_name(text);
    prepare(from.db, "SELECT 1 FROM " + quoted(wanted));  // connects a table of a file that was just opened
    for (const VirtualTable *table : from.registry->tables) {
        const bool schema_fits =
            wanted.schema.empty() || sqlite3_stricmp(wanted.schema.c_str(), table->name.schema.c_str()) == 0;
        if (schema_fits && sqlite3_stricmp(wanted.table.c_str(), table->name.table.c_str()) == 0) {
            return *table;
        }
    }
    throw SqlError(text + " is not a qvk table");
}

std::string text_argument(sqlite3_value *value) {
    const unsigned char *bytes = sqlite3_value_text(value);
    return bytes ? reinterpret_cast<const char *>(bytes) : "";
}

int filter(sqlite3_vtab_cursor *base, int, const char *, int count, sqlite3_value **arguments) {
    return shielded(&base->pVtab->zErrMsg, [&] {
        ReportCursor &cursor = *static_cast<ReportCursor *>(base);
        const ReportTable &table = *static_cast<ReportTable *>(base->pVtab);
        const std::string column = count > 1 ? text_argument(arguments[1]) : "";
        cursor.rows = table.report->rows(find_table(table, text_argument(arguments[0])), column);
        cursor.at = 0;
    });
}

int next(sqlite3_vtab_cursor *cursor) {
    ++static_cast<ReportCursor *>(cursor)->at;
    return SQLITE_OK;
}

int at_end(sqlite3_vtab_cursor *base) {
    const ReportCursor &cursor = *static_cast<ReportCursor *>(base);
    return cursor.at >= cursor.rows.size();
}

int column(sqlite3_vtab_cursor *base, sqlite3_context *context, int index) {
    const ReportCursor &cursor = *static_cast<ReportCursor *>(base);
    const ReportRow &row = cursor.rows[cursor.at];
    if (static_cast<size_t>(index) < row.size()) {  // the argument needs no answer
        give(context, row[static_cast<size_t>(index)].view(), SQLITE_TRANSIENT);
    }
    return SQLITE_OK;
}

int row_id(sqlite3_vtab_cursor *base, sqlite3_int64 *id) {
    *id = static_cast<sqlite3_int64>(static_cast<ReportCursor *>(base)->at) + 1;
    return SQLITE_OK;
}

// Without xCreate a module can only be used by its own name, as a table-valued function.
template <const Report &report>
sqlite3_module module_of() {
    sqlite3_module module{};
    module.xConnect = connect<report>;
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
}

}  // namespace

const sqlite3_module kStatsModule = module_of<kStats>();
const sqlite3_module kLastRunModule = module_of<kLastRun>();
const sqlite3_module kCountByModule = module_of<kCountBy>();

}  // namespace qvk
