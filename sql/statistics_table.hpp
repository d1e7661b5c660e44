// What DuckDB's planner knows of a table of ours.
#pragma once

#include <cstdint>
#include <string>

#include "store/operator/table.hpp"

namespace store::sql {

// The most rows that a table in the planner's database has.
inline constexpr uint64_t most_planned_rows = 65536;

// A query whose rows resemble those of a table: the numbers of rows and of distinct values in each loaded column are as
// in the table, and made smaller by a factor where they are large.  DuckDB orders joins by these numbers alone. Columns
// that are not loaded are NULL.
std::string statistics_rows(exec::table &of, uint64_t factor);

} // namespace store::sql
