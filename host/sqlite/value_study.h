// What a column's values tell about how SQLite compares them.
#pragma once

#include "source.h"

namespace qvk {

// Fills in what is known of a column once its rows are in.
void study_values(sqlite3 *db, const Table &table, size_t column, ColumnShape &shape);

}  // namespace qvk
