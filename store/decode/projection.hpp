// Columns of selected rows: had back from their encoded form, held against the same rows in DuckDB, and the first of
// them handed on.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/duckdb/connection.hpp"
#include "store/encode/column.hpp"
#include "store/query/selection.hpp"
#include <vorn/vorn.h>

namespace store {

struct projection {
  uint64_t count = 0;   // rows in all
  bool agree = true;    // DuckDB has the same values in the same order, if it is asked
  uint64_t rounded = 0; // sums of reals that differ from DuckDB's within their bound
};

// `expected` are the columns of the source as sql_values has them and then, for each that is rounded, how far its
// values may lie from these; nothing where DuckDB has no copy.  `take` gets the first `shown` rows, some thousand at a
// time.
projection project(row_source &source, std::span<const heading> columns, std::optional<duckdb::result> expected,
                   uint64_t shown, const std::function<void(row_block)> &take);

// The same of the selected rows of a table, of all rows without a selection.
projection project(const vorn_ctx &ctx, std::span<const column *const> columns, const selection *rows,
                   duckdb::result expected, uint64_t shown, const std::function<void(row_block)> &take);

std::vector<heading> headings_of(std::span<const column *const> columns);

} // namespace store
