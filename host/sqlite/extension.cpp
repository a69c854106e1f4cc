// The loadable extension: .load ./qvk_sqlite
#include "virtual_table.h"

SQLITE_EXTENSION_INIT1

namespace {

using SharedRegistry = std::shared_ptr<qvk::Registry>;

void drop_registry(void *registry) { delete static_cast<SharedRegistry *>(registry); }

}  // namespace

// Named after the file by SQLite's rule.
extern "C" __attribute__((visibility("default"))) int sqlite3_qvksqlite_init(sqlite3 *db, char **message,
                                                                             const sqlite3_api_routines *api) {
    SQLITE_EXTENSION_INIT2(api);
    constexpr int kOldestVersion = 3038000;  // the first whose planner hands over IN lists and literals
    return qvk::shielded(message, [&] {
        if (sqlite3_libversion_number() < kOldestVersion) {
            throw qvk::SqlError("SQLite 3.38 or later is needed");
        }
        qvk::require_library();  // now, while a relative path to the extension still holds
        const SharedRegistry registry = std::make_shared<qvk::Registry>();
        for (const auto &[name, module] : {std::pair("qvk", &qvk::kTableModule),
                                           {"qvk_stats", &qvk::kStatsModule},
                                           {"qvk_last_run", &qvk::kLastRunModule},
                                           {"qvk_count_by", &qvk::kCountByModule}}) {
            if (sqlite3_create_module_v2(db, name, module, new SharedRegistry(registry), drop_registry) != SQLITE_OK) {
                throw qvk::SqlError(sqlite3_errmsg(db));
            }
        }
    });
}
