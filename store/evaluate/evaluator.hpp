// Values of expressions on the rows of chunks.
//
// A bound expression is made once for the columns of an operator's child, and all threads share it.  It has a layout,
// and keeps codes where it can:
// - A column is itself.
// - An expression that reads one column of codes is evaluated once for each code, not for each row.  It then looks up
//   the results by the codes.
// - Arithmetic, comparisons, logic, CASE and casts of numbers have loops of their own.  They compute in 64 bits if the
//   bounds of the columns prove that every result fits, and otherwise in 128 bits.  The results equal DuckDB's.  If a
//   result might leave its SQL type, it is tested.  A chunk with such a result goes to scalar_functions, so that the
//   error has DuckDB's words.
// - Everything else is given to scalar_functions, chunk by chunk.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/chunk/chunk.hpp"
#include "store/evaluate/scalar_functions.hpp"
#include "store/logical/expression.hpp"

namespace store::exec {

class bound_expression;

// A bound expression with the memory of one thread.
class evaluator {
public:
  virtual ~evaluator() = default;

  // The values in the layout of the bound expression.  The memory belongs to the chunk.
  virtual vector run(chunk &rows) = 0;
};

class bound_expression {
public:
  virtual ~bound_expression() = default;

  const layout &result() const { return result_; }
  // How the expression is evaluated, for EXPLAIN: "codes", "rows", "DuckDB by codes" or "DuckDB by rows", or several of
  // them.  A column and a constant have no method.
  virtual std::string method() const = 0;
  virtual std::unique_ptr<evaluator> begin() const = 0;

protected:
  layout result_;
};

// `estimated_rows` decides whether an expression of one dictionary column is evaluated by codes.
std::shared_ptr<const bound_expression> bind(const logical::expression &what, std::span<const layout> columns,
                                             scalar_functions &functions, double estimated_rows);

// A condition: the rows of a chunk on which it is true.
class row_condition {
public:
  row_condition(std::vector<std::shared_ptr<const bound_expression>> all_of);

  // The positions of the rows on which all conditions are true, in ascending order, in the memory of the chunk.  A
  // condition reads only the rows that the conditions before it have left.  The call may drop rows of the chunk.
  // Returns false when no row is left.
  bool keep(chunk &rows);

private:
  std::vector<std::pair<std::shared_ptr<const bound_expression>, std::unique_ptr<evaluator>>> conditions_;
};

} // namespace store::exec
