// Columns of selected rows: had back from their encoded form, held against the same rows in DuckDB, and the first of
// them kept as they are written.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "store/duckdb/connection.hpp"
#include "store/encode/column.hpp"
#include "store/query/selection.hpp"
#include <vorn/vorn.h>

namespace store {

struct projection {
  std::vector<std::vector<std::string>> first_rows;
  uint64_t count = 0; // rows in all
  bool agree = true;  // DuckDB has the same values in the same order
};

// Without a selection all rows.  `expected` are the same columns as sql_values has them; `limit` rows are kept.
projection project(const vorn_ctx &ctx, std::span<const column *const> columns, const selection *rows,
                   duckdb::result expected, uint64_t limit);

} // namespace store
