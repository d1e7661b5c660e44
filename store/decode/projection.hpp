// Columns of selected rows: had back from their encoded form, held against the same rows in DuckDB, and the first of
// them handed on.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "store/duckdb/connection.hpp"
#include "store/encode/column.hpp"
#include "store/query/selection.hpp"
#include <vorn/vorn.h>

namespace store {

struct projection {
  uint64_t count = 0; // rows in all
  bool agree = true;  // DuckDB has the same values in the same order
};

// Some rows: the cells of each column, of which there are equally many.
using row_block = std::span<const std::span<const cell>>;

// Without a selection all rows.  `expected` are the same columns as sql_values has them.  `take` gets the first `limit`
// rows, some thousand at a time.
projection project(const vorn_ctx &ctx, std::span<const column *const> columns, const selection *rows,
                   duckdb::result expected, uint64_t limit, const std::function<void(row_block)> &take);

} // namespace store
