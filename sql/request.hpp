// A query as a user of vornq asks it: how its parts are written, and the same query in SQL.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sql/condition.hpp"
#include "sql/reference.hpp"
#include "store/plan/query_parts.hpp"
#include "store/value/column_names.hpp"

namespace store {

struct request : query_parts {
  std::string where_sql;                  // of `where`
  std::vector<std::string> where_columns; // that it reads

  void set_where(condition predicate);

  // All columns that it takes.
  std::vector<std::string> all_columns() const;

  // Where the order depends on sums that DuckDB rounds in another way, only the whole can be compared: the same without
  // order and limit.  Otherwise the request itself.
  bool has_rounded_order(const column_names &names) const;
  request comparable(const column_names &names) const;

  // The same as a query of SQL, with the bounds that `verify_rows` expects where the caller wants them.
  sql_select sql(const column_names &names, bool with_bounds) const;
};

// Reads "column, column desc, sum(column)"; a column may stand in double quotes.  Throws store::error for what cannot
// be ordered by.
std::vector<asked_order> parse_order(std::string_view text, const request &ordered, const column_names &names);

// Reads the name of a column of numbers.  Throws store::error when it is another.
std::string numeric_column(std::string_view text, const column_names &names);

// Reads what is added, "column" or "column * column", where a number may stand for one of the columns and the operator
// is * + or - with blanks around it.  Throws store::error for a column that is not numeric.
asked_aggregate parse_aggregate(function what, std::string_view text, const column_names &names);

} // namespace store
