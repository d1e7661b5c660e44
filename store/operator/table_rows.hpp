// Reads the rows of stored tables outside of queries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "store/chunk/vector.hpp"
#include "store/encode/column.hpp"
#include "store/encode/encoder.hpp"
#include "store/operator/table.hpp"
#include <vorn/vorn.h>

namespace store::exec {

// Takes the decoded values of each column on some thousand rows.  The vectors are valid only during the call.
using rows_taker = std::function<void(std::span<const vector> columns, uint32_t rows)>;

// Calls a function with all rows of some columns of a table, in their order.  Loads the columns.
void read_rows(const vorn_ctx &library, table &of, std::span<const size_t> columns, const rows_taker &take);

// Encodes a column of several tables again, as one column with the rows of the first table, then of the second, and so
// on.  The columns have one type.  The result has the name of the column of the first table.  Reports the number of
// encoded rows at intervals.  Throws store::error for values that cannot be stored in the chosen form.
column concatenated(const vorn_ctx &library, std::span<table *const> parts, size_t index, const encoding_choice &choice,
                    const std::function<void(uint64_t rows)> &progress);

} // namespace store::exec
