// Statistics of a table for DuckDB's planner.
#pragma once

#include <cstdint>
#include <string>

#include "store/operator/table.hpp"

namespace store::sql {

// The largest number of rows of a table in the database of the planner.
inline constexpr uint64_t most_planned_rows = 65536;

// A query with rows that resemble the rows of a table.  The number of rows, and the number of distinct values in each
// loaded column, equal the numbers of the table, or are smaller by a factor if the table is large.  DuckDB orders joins
// only by these numbers.  Columns that are not loaded are NULL.
std::string statistics_rows(exec::table &of, uint64_t factor);

} // namespace store::sql
