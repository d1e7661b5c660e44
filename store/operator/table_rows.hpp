// The rows of stored tables, for code that is no operator of a query.
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

// Takes the values of each column on some thousand rows, without codes.  The vectors are good for the call only.
using rows_taker = std::function<void(std::span<const vector> columns, uint32_t rows)>;

// Calls with all rows of some columns of a table, in their order.  Loads the columns.
void read_rows(const vorn_ctx &library, table &of, std::span<const size_t> columns, const rows_taker &take);

// A column of several tables, their rows one after the other, encoded again.  The types of the columns are equal, and
// the name is the one of the first table.  Reports the rows done so far now and then.  Throws store::error for values
// that are not stored as chosen.
column concatenated(const vorn_ctx &library, std::span<table *const> parts, size_t index, const encoding_choice &choice,
                    const std::function<void(uint64_t rows)> &progress);

} // namespace store::exec
