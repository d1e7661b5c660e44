// Tables and selections through the Arrow C data interface and the Arrow C stream interface.
#pragma once

#include <vorn/store/arrow_interface.h>
#include <vorn/store/table.hpp>

#include <string>
#include <vector>

namespace vorn::store {

// Encode record batches.  The functions take over their Arrow arguments and release them, also after an error.  They
// throw error for a column that the store does not encode, or does not encode in the chosen form, for an array that
// contradicts itself or its schema, and for a stream that fails.  NULLs are accepted without ARROW_FLAG_NULLABLE too.
// Texts are not checked for UTF-8.
VORN_STORE_API table from_arrow(ArrowArrayStream &stream, const encoding_choices &choices = {});
VORN_STORE_API table from_arrow(ArrowSchema &schema, ArrowArray &batch, const encoding_choices &choices = {});

// The results of the next functions own their memory.  The caller releases them, from any thread.

// Columns of all rows, or of the selected rows, as a stream of record batches.  Without names the stream has all
// columns.  The stream copies the context and the selection and keeps the table alive; the environment of the context
// outlives the stream.  One thread reads the stream at a time.  They throw error when the table has no such column, or
// when the selection has another number of rows.
VORN_STORE_API ArrowArrayStream to_arrow(const vorn_ctx &ctx, const table &of,
                                         const std::vector<std::string> &columns = {});
VORN_STORE_API ArrowArrayStream to_arrow(const vorn_ctx &ctx, const table &of, const selection &rows,
                                         const std::vector<std::string> &columns = {});

// A selection as a column without a name: a boolean for each row of the table, or the numbers of the selected rows in
// ascending order.  The first row has the number 0.  The numbers are unsigned integers of 32 bits, or of 64 bits for a
// table of more than 2^32 rows.
struct arrow_column {
  ArrowSchema schema;
  ArrowArray array;
};
VORN_STORE_API arrow_column booleans_to_arrow(const selection &rows);
VORN_STORE_API arrow_column row_numbers_to_arrow(const selection &rows);

} // namespace vorn::store
