// Tables and selections through the Arrow C data interface and the Arrow C stream interface.
#pragma once

#include <vorn/store/arrow_interface.h>
#include <vorn/store/table.hpp>

#include <string>
#include <vector>

namespace vorn::store {

// Encode record batches.  They take over what they are given and release it whatever happens.  Throw error for a column
// that the store does not encode or does not encode as chosen, for an array that contradicts itself or the types of its
// schema, and for a stream that fails.  NULLs are accepted without ARROW_FLAG_NULLABLE too.  Texts are not checked for
// UTF-8.
VORN_STORE_API table from_arrow(ArrowArrayStream &stream, const encoding_choices &choices = {});
VORN_STORE_API table from_arrow(ArrowSchema &schema, ArrowArray &batch, const encoding_choices &choices = {});

// What the next functions give owns its memory; the caller releases it, from any thread.

// Columns of all rows, or of the selected rows, as a stream of record batches.  All columns without names.  The stream
// copies the context and the selection and keeps the table alive; the environment of the context outlives the stream.
// One thread reads the stream at a time.  Throw error where there is no such column, or where the selection has another
// number of rows.
VORN_STORE_API ArrowArrayStream to_arrow(const vorn_ctx &ctx, const table &of,
                                         const std::vector<std::string> &columns = {});
VORN_STORE_API ArrowArrayStream to_arrow(const vorn_ctx &ctx, const table &of, const selection &rows,
                                         const std::vector<std::string> &columns = {});

// A selection as a column without a name: a boolean for each row of the table, or the ascending numbers of the selected
// rows, the first row being 0.  The numbers have 32 bits without sign; they have 64 for a table of more than 2^32 rows.
struct arrow_column {
  ArrowSchema schema;
  ArrowArray array;
};
VORN_STORE_API arrow_column booleans_to_arrow(const selection &rows);
VORN_STORE_API arrow_column row_numbers_to_arrow(const selection &rows);

} // namespace vorn::store
