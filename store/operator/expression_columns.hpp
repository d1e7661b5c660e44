// Expressions of an operator as columns of the rows below, for operators whose loops take columns only.
#pragma once

#include <cstddef>
#include <vector>

#include "store/operator/operators.hpp"

namespace store::exec {

// An expression that is a column is this column.  A projection above the rows adds a column for every other expression.
class expression_columns {
public:
  explicit expression_columns(const relation &rows);

  // The number of the column with the values of an expression.
  size_t add(const logical::expression &what);
  // Says that a column of the rows is read too.
  void need(size_t column) { needed_[column] = true; }
  const column_mask &needed() const { return needed_; }

  // The rows with all columns.  Columns that were added or are needed have values.
  relation_ptr finish(relation_ptr rows, scalar_functions &functions) const;

private:
  size_t of_rows_;                               // columns
  std::vector<logical::expression> expressions_; // first the columns of the rows
  column_mask needed_;
};

} // namespace store::exec
