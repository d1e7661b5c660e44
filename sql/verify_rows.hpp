// Compares the rows of an answer with the rows that DuckDB gives for the same query, and passes the first ones on.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "sql/connection.hpp"
#include "store/arrow/selection.hpp"
#include "store/decode/row_source.hpp"
#include "store/encode/column.hpp"
#include <vorn/vorn.h>

namespace store {

struct verification {
  uint64_t count = 0;   // rows in all
  bool agree = true;    // DuckDB has the same values in the same order; also true where nothing is compared
  uint64_t rounded = 0; // sums of reals that differ from DuckDB's within their bound
};

// `expected` has the columns of the source as sql_values reads them.  After them it has one column for each rounded
// column: the largest difference that rounding explains.  Nothing is compared without `expected`.  `take` gets the
// first `shown` rows, some thousand at a time.
verification verify_rows(row_source &source, std::span<const heading> columns, std::optional<duckdb::result> expected,
                         uint64_t shown, const std::function<void(row_block)> &take);

// The same for the selected rows of a table; for all rows without a selection.
verification verify_rows(const vorn_ctx &ctx, std::span<const column *const> columns, const selection *rows,
                         duckdb::result expected, uint64_t shown, const std::function<void(row_block)> &take);

std::vector<heading> headings_of(std::span<const column *const> columns);

} // namespace store
