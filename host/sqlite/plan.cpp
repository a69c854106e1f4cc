// Choosing, describing and reading plans.
#include "plan.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qvk {
namespace {

// By Operation.
constexpr char kOperationLetters[] = "=nlLgGsizZkb";

std::string write_plan(const Plan &plan) {
    std::string text = "#";
    for (const Constraint &constraint : plan) {
        text += std::to_string(constraint.column) + kOperationLetters[static_cast<size_t>(constraint.operation)]
                + (constraint.literal_text ? "! " : " ");
    }
    return text;
}

std::string title(const Column &column) {
    const uint32_t width = column.encoding->width_bits();
    return column.name + ' ' + std::string(column.encoding->name())
           + (width > 0 ? ' ' + std::to_string(width) + "-bit: " : ": ");
}

std::string kernels_of_typical(const Encoding &encoding, const Predicate &predicate) {
    std::string text;
    const ColumnScan scan = encoding.typical_scan(predicate);
    if (scan.rows == ColumnScan::Rows::probed) {
        return kernel_name(kProbe);
    }
    for (const KernelCall &call : scan.any_of) {
        const std::string name = kernel_name({*encoding.kernels(), call.operation, call.form});
        if (text.find(name) == text.npos) {
            text += (text.empty() ? "" : ", ") + name;
        }
    }
    return text;
}

// A list may be short or long.
std::string kernels_of(const Encoding &encoding, Predicate predicate) {
    std::string text = kernels_of_typical(encoding, predicate);
    if (text.empty()) {
        return "no kernel needed";
    }
    if (predicate.values.size() > 1) {
        predicate.values.resize(kManyValues);
        const std::string many = kernels_of_typical(encoding, predicate);
        text += many == text ? "" : " or " + many;
    }
    return encoding.burst() ? text + ", " + kernel_name(*encoding.burst()) : text;
}

bool compares_values(Operation operation) {
    return operation != Operation::is_null && operation != Operation::not_null && !is_pattern(operation);
}

// Whether a pattern is looked for by SQLite's own function and not one that was put in its place, of which nothing is
// known.
bool is_own_pattern(sqlite3 *db, Operation operation) {
    const std::string name = operation == Operation::like ? "'like'" : "'glob'";
    try {
        return !step(db, prepare(db, "SELECT 1 FROM pragma_function_list WHERE name = " + name + " AND NOT builtin"));
    } catch (const SqlError &) {
        return false;  // an SQLite that doesn't tell
    }
}

// Why a constraint is left to SQLite, or null.
const char *reason_to_leave(const Column &column, const ColumnShape &shape, Operation operation, const char *collation,
                            sqlite3 *db) {
    if (!column.encoding->kernels() && operation != Operation::in) {
        return "left to SQLite";
    }
    if (is_pattern(operation) && (!column.encoding->dictionary() || !is_own_pattern(db, operation))) {
        return "pattern left to SQLite";
    }
    if (compares_values(operation) && sqlite3_stricmp(collation, "BINARY") != 0) {
        return "collation left to SQLite";
    }
    return compares_values(operation) && !shape.as_stored ? "mixed types left to SQLite" : nullptr;
}

// What is left to SQLite, once for each column.
struct LeftOver {
    std::string text;

    void add(const Column &column, const char *reason) {
        const std::string item = title(column) + reason;
        if (text.find(item) == text.npos) {
            text += (text.empty() ? "" : "; ") + item;
        }
    }
};

// Of the columns that the statement mentions, whose values it may ask for. The last bit of used stands for all columns
// from there on.
std::string decoded_columns(const Table &table, sqlite3_uint64 used) {
    std::string names;
    for (size_t column = 0; column < table.columns.size(); ++column) {
        const Dictionary *dictionary = table.columns[column].encoding->dictionary();
        if ((used >> std::min<size_t>(column, 63) & 1) != 0 && dictionary && dictionary->has_symbols()) {
            names += (names.empty() ? "" : ", ") + table.columns[column].name;
        }
    }
    return names.empty() ? "" : "values of " + names + ": kdzk_decode or kdzk_decode_unpack, kdzk_decode_symbol";
}

std::string describe(const Table &table, const Plan &plan, const LeftOver &left_over, sqlite3_uint64 used) {
    std::vector<Predicate> conjunction;
    for (const Constraint &constraint : plan) {
        add_conjunct(conjunction, predicate_shape(constraint));
    }
    std::string text;
    for (const Predicate &predicate : conjunction) {
        const Column &column = table.columns[predicate.column];
        text += (text.empty() ? "" : "; ") + title(column) + kernels_of(*column.encoding, predicate);
    }
    text += text.empty() || left_over.text.empty() ? left_over.text : "; " + left_over.text;
    text += text.empty() ? "all rows" : "";
    const std::string decoded = decoded_columns(table, used);
    return decoded.empty() ? text : text + "; " + decoded;
}

// The share of rows that a constraint is expected to let through, its value being unknown.
double selectivity(const ValueCounts &counts, Operation operation) {
    const double rows_of_one = 1.0 / static_cast<double>(std::max<uint64_t>(1, counts.distinct));
    switch (operation) {
    case Operation::eq:
    case Operation::is:
        return rows_of_one;
    case Operation::in:
        return std::min(0.5, 4 * rows_of_one);
    case Operation::lt:
    case Operation::le:
    case Operation::gt:
    case Operation::ge:
        return 0.4;
    case Operation::like:
    case Operation::glob:
        return 0.25;
    case Operation::ne:
    case Operation::is_null:
    case Operation::not_null:
        break;
    }
    const double nulls = static_cast<double>(counts.nulls) / static_cast<double>(std::max<uint64_t>(1, counts.rows));
    return operation == Operation::is_null ? nulls : 1 - nulls;
}

bool is_literal_text(sqlite3_index_info *info, int constraint) {
    sqlite3_value *value = nullptr;
    return sqlite3_vtab_rhs_value(info, constraint, &value) == SQLITE_OK && value
           && sqlite3_value_type(value) == SQLITE_TEXT;
}

void estimate(const Table &table, const Plan &plan, sqlite3_index_info *info) {
    const double all_rows = static_cast<double>(table.row_count);
    double rows = all_rows;
    for (const Constraint &constraint : plan) {
        rows *= selectivity(table.columns[constraint.column].encoding->counts(), constraint.operation);
    }
    constexpr double kRowsPerCost = 128;  // a kernel tests that many in the time in which SQLite takes one row
    info->estimatedCost = 1 + rows + all_rows * static_cast<double>(plan.size()) / kRowsPerCost;
    info->estimatedRows = static_cast<sqlite3_int64>(rows) + 1;
}

}  // namespace

void choose_plan(sqlite3 *db, const Table &table, const Source &source, sqlite3_index_info *info) {
    Plan plan;
    LeftOver left_over;
    for (int at = 0; at < info->nConstraint; ++at) {
        const auto &offered = info->aConstraint[at];
        const std::optional<Operation> operation = operation_of(offered.op);
        if (!offered.usable || offered.iColumn < 0 || !operation) {
            continue;
        }
        const bool is_list = sqlite3_vtab_in(info, at, -1) != 0;
        Constraint constraint{static_cast<uint32_t>(offered.iColumn), is_list ? Operation::in : *operation, false};
        const Column &column = table.columns[constraint.column];
        const ColumnShape &shape = source.columns[constraint.column];
        const char *collation = sqlite3_vtab_collation(info, at);
        if (const char *reason = reason_to_leave(column, shape, constraint.operation, collation, db)) {
            left_over.add(column, reason);
            continue;
        }
        sqlite3_vtab_in(info, at, is_list);
        constraint.literal_text = !is_list && compares_values(*operation) && is_literal_text(info, at);
        plan.push_back(constraint);
        info->aConstraintUsage[at].argvIndex = static_cast<int>(plan.size());
        info->aConstraintUsage[at].omit = surely_exact(shape, constraint);
    }
    estimate(table, plan, info);
    const std::string text = describe(table, plan, left_over, info->colUsed) + ' ' + write_plan(plan);
    info->idxStr = sqlite3_mprintf("%s", text.c_str());
    info->needToFreeIdxStr = 1;
    if (!info->idxStr) {
        throw std::bad_alloc();
    }
}

Plan read_plan(const char *index_string) {
    Plan plan;
    const char *at = std::strrchr(index_string, '#') + 1;
    while (*at) {
        char *letter = nullptr;
        Constraint constraint{static_cast<uint32_t>(std::strtoul(at, &letter, 10))};
        constraint.operation = static_cast<Operation>(std::strchr(kOperationLetters, *letter) - kOperationLetters);
        constraint.literal_text = letter[1] == '!';
        plan.push_back(constraint);
        at = letter + (constraint.literal_text ? 3 : 2);
    }
    return plan;
}

}  // namespace qvk
