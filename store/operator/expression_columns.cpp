#include "store/operator/expression_columns.hpp"

#include <fmt/format.h>

namespace store::exec {

expression_columns::expression_columns(const relation &rows) : of_rows_(rows.columns().size()), needed_(of_rows_) {
  for (size_t index = 0; index < of_rows_; ++index) {
    logical::expression column;
    column.what = logical::operation::column;
    column.type = rows.columns()[index].type;
    column.index = index;
    column.sql = fmt::format("c{}", index);
    expressions_.push_back(column);
  }
}

size_t expression_columns::add(const logical::expression &what) {
  size_t index = what.what == logical::operation::column ? what.index : of_rows_;
  if (what.what != logical::operation::column)
    while (index < expressions_.size() &&
           (what.is_volatile || expressions_[index].sql != what.sql || expressions_[index].type.name != what.type.name))
      ++index;
  if (index == expressions_.size()) {
    expressions_.push_back(what);
    needed_.push_back(true);
  }
  needed_[index] = true;
  return index;
}

relation_ptr expression_columns::finish(relation_ptr rows, scalar_functions &functions) const {
  if (expressions_.size() == of_rows_)
    return rows;
  return make_projection(std::move(rows), expressions_, needed_, functions);
}

} // namespace store::exec
