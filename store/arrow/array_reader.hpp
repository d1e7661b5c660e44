// Appends the rows of Arrow arrays to the builder of a column.  The builder looks a value up once for an entry of a
// dictionary, and once for a run.
#pragma once

#include "store/arrow/array_values.hpp"
#include "store/arrow/arrow_type.hpp"
#include "store/encode/column_builder.hpp"
#include <vorn/store/arrow_interface.h>

namespace store {

// Throws store::error, with the name of the column, for an array that does not fit the field, has fewer rows, or
// contradicts itself.
void append_rows(column_builder &out, const arrow_field &field, const ArrowArray *array, row_range rows);

} // namespace store
