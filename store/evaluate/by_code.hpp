// An expression of one column with few different values, evaluated once for each of them.
#pragma once

#include "store/evaluate/evaluator.hpp"
#include "store/evaluate/node.hpp"

namespace store::exec {

// `column` is a column of codes, or of integers in 64 bits with bounds; it is the column `index` of `columns` columns.
// `by_values` is the expression over these columns with plain values.  Null if the expression fails for one of the
// values.
node_ptr make_by_code(node_ptr column, size_t index, size_t columns, const bound_expression &by_values);

} // namespace store::exec
