// Scalar expressions of a plan: bound and typed, with columns by their positions in the rows below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "store/value/value.hpp"

namespace store::logical {

// A type of SQL.  The planner may use types that the store does not hold, such as INTERVAL, inside an expression.
struct sql_type {
  std::string name; // "DECIMAL(15,2)"
  std::optional<column_type> held;

  sql_type() = default;
  sql_type(std::string type_name) : name(std::move(type_name)), held(type_of(name)) {}
};

// A value.  The empty alternative is NULL.  A number is a boolean, an integer, a decimal number without its point, or a
// number of days, microseconds or nanoseconds.  A UUID is the number of its wide_key.
using scalar = std::variant<std::monostate, __int128, double, std::string>;

enum class operation {
  column,   // of the rows below: `index`
  constant, // `value`
  equal,    // comparisons, of two children of one type
  not_equal,
  less,
  less_equal,
  greater,
  greater_equal,
  distinct_from, // comparisons in which NULL is a value
  not_distinct_from,
  all_of, // of any number of children
  any_of,
  negation,
  is_null,
  is_not_null,
  in, // the first child among the others
  not_in,
  case_when, // condition, value, condition, value, ..., and the value without a true condition
  cast,      // one child to `type`
  function   // `name` with children as arguments; operators are functions of their sign, such as "+"
};

inline bool is_comparison(operation what) { return what >= operation::equal && what <= operation::not_distinct_from; }

// The same comparison with its sides exchanged.
constexpr operation mirrored(operation comparison) {
  switch (comparison) {
  case operation::less:
    return operation::greater;
  case operation::less_equal:
    return operation::greater_equal;
  case operation::greater:
    return operation::less;
  case operation::greater_equal:
    return operation::less_equal;
  default:
    return comparison;
  }
}

struct expression {
  operation what = operation::constant;
  sql_type type;
  size_t index = 0;
  scalar value;
  std::string name;
  bool may_fail = false;    // a cast that gives NULL instead of an error: TRY_CAST
  bool is_volatile = false; // it contains a function that gives another value at each row, such as random()
  std::vector<expression> children;

  // The expression as DuckDB reads it.  Columns are called c0, c1, ... by their index.
  std::string sql;
  // Its position in the text of the query, in bytes, if the planner knows it.
  std::optional<uint32_t> location;
};

// Calls a function for each use of a column in the expression.
template <class Take>
void for_each_column(const expression &e, const Take &take) {
  if (e.what == operation::column)
    take(e.index);
  for (const expression &child : e.children)
    for_each_column(child, take);
}

} // namespace store::logical
