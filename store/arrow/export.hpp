// Exports selections, the selected rows of tables and the rows of queries to another library through the Arrow
// interfaces.
//
// The exported records own their memory.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "store/arrow/owner.hpp"
#include "store/arrow/selection.hpp"
#include "store/encode/column.hpp"
#include "store/operator/answer.hpp"
#include <vorn/store/arrow_interface.h>
#include <vorn/vorn.h>

namespace store {

// A selection of the rows of a table as a column without a name: a boolean for each row, whose bitmap is the
// selection's own, or the numbers of the selected rows, of 32 bits unless the table has more than 2^32 rows.
struct arrow_column {
  arrow_owner<ArrowSchema> schema;
  arrow_owner<ArrowArray> array;
};
arrow_column exported_booleans(selection selected, uint64_t rows);
arrow_column exported_row_numbers(const selection &selected, uint64_t rows);

struct arrow_batch_limits {
  uint64_t rows = batch_rows; // some thousand at least
  // Of one column; without a choice as much as offsets reach.
  uint64_t text_bytes = std::numeric_limits<int32_t>::max();
};

// The values of columns on the selected rows, all rows without a selection, as a stream of record batches.  Context and
// columns outlive it.  Throws store::error when there is no column.
arrow_owner<ArrowArrayStream> exported_rows(const vorn_ctx &ctx, std::span<const column *const> columns,
                                            std::optional<selection> selected, const arrow_batch_limits &limits = {});

// The schema of the rows of a query.  Throws store::error for a type that the store does not hold.
ArrowSchema exported_schema(std::span<const logical::sql_type> types, std::span<const std::string> names);

// Some consecutive morsels of a relation; without a choice all.
struct morsel_range {
  size_t first = 0;
  size_t end = std::numeric_limits<size_t>::max();
};

// The rows of a query under the names of their columns: HUGEINT as a decimal number of 38 digits.  Operators and run
// outlive the stream.  The operators are opened here, with their errors.  The rows are made on the threads of the run
// while the stream is read, so nothing else runs on these.  The stream ends with the errors of the rows.
arrow_owner<ArrowArrayStream> exported_rows(exec::relation &rows, std::span<const std::string> names,
                                            const exec::query_run &run, const morsel_range &range = {},
                                            const arrow_batch_limits &limits = {});

// The rows of an answer, which outlives the stream.
arrow_owner<ArrowArrayStream> exported_rows(const exec::answer &rows, const arrow_batch_limits &limits = {});

} // namespace store
