// A plan: which constraints go down to kernels. It travels from the planner to the scan as SQLite's index string, which
// EXPLAIN QUERY PLAN shows too. So the string opens with a sentence for people, and ends in a list for the scan:
//
//     origin dict 8-bit: kdzk_eq_dict_8bit; delay plain: left to SQLite #4=! 2g
#pragma once

#include "constraint.h"

namespace qvk {

// In the order of xFilter's arguments.
using Plan = std::vector<Constraint>;

// Fills in a plan for SQLite's planner.
void choose_plan(sqlite3 *db, const Table &table, const Source &source, sqlite3_index_info *info);

Plan read_plan(const char *index_string);

}  // namespace qvk
