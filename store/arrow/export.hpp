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

// A selection of the rows of a table as a column without a name: a boolean for each row, or the numbers of the selected
// rows.  The bitmap of the booleans is the memory of the selection.  The numbers have 32 bits, or 64 bits if the table
// has more than 2^32 rows.
struct arrow_column {
  arrow_owner<ArrowSchema> schema;
  arrow_owner<ArrowArray> array;
};
arrow_column exported_booleans(selection selected, uint64_t rows);
arrow_column exported_row_numbers(const selection &selected, uint64_t rows);

struct arrow_batch_limits {
  uint64_t rows = row_group_rows; // at least some thousands
  // Bytes of one column.  Without a choice the offsets are the limit.
  uint64_t text_bytes = std::numeric_limits<int32_t>::max();
};

// The values of columns on the selected rows as a stream of record batches.  Without a selection these are all rows.
// Context and columns outlive the stream.  Throws store::error when there is no column.
arrow_owner<ArrowArrayStream> exported_rows(const vorn_ctx &ctx, std::span<const column *const> columns,
                                            std::optional<selection> selected, const arrow_batch_limits &limits = {});

// The schema of the rows of a query.  Throws store::error for a type that the store does not hold.
ArrowSchema exported_schema(std::span<const logical::sql_type> types, std::span<const std::string> names);

// Some consecutive morsels of a relation.  The default is all morsels.
struct morsel_range {
  size_t first = 0;
  size_t end = std::numeric_limits<size_t>::max();
};

// The rows of a query with the names of their columns.  HUGEINT becomes a decimal number of 38 digits.  Operators and
// run outlive the stream.  The function opens the operators and throws their errors.  The threads of the run make the
// rows while the stream is read, so they do no other work.  An error of a row ends the stream.
arrow_owner<ArrowArrayStream> exported_rows(exec::relation &rows, std::span<const std::string> names,
                                            const exec::query_run &run, const morsel_range &range = {},
                                            const arrow_batch_limits &limits = {});

// The rows of an answer.  The answer outlives the stream.
arrow_owner<ArrowArrayStream> exported_rows(const exec::answer &rows, const arrow_batch_limits &limits = {});

} // namespace store
