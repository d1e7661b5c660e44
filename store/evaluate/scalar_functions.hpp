// Expressions that the store cannot evaluate.  The database of the planner evaluates them, because it has all functions
// of SQL.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "store/chunk/vector.hpp"
#include "store/logical/expression.hpp"

namespace store::exec {

// An expression over values in the representation of their types.  One thread uses it at a time.
class scalar_function {
public:
  virtual ~scalar_function() = default;

  // `inputs` are the columns by their index, in the plain representation of their type; a column that the expression
  // does not read may be empty.  The result is in the plain representation of the expression's type, in the arena.
  // Throws store::error when the expression fails on one of the rows.
  virtual vector run(std::span<const vector> inputs, uint32_t rows, arena &memory) = 0;
};

class scalar_functions {
public:
  virtual ~scalar_functions() = default;

  // `inputs` are the types of the columns by their index.  Throws store::error for an expression that cannot be bound,
  // or that has a type that the store does not hold.  Several threads may call this at once.
  virtual std::unique_ptr<scalar_function> bind(const logical::expression &what,
                                                std::span<const logical::sql_type> inputs) = 0;
};

} // namespace store::exec
