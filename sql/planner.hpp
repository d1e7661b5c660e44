// DuckDB as the planner: it parses a query, binds it, decorrelates its subqueries and orders its joins.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sql/catalogue.hpp"
#include "store/error.hpp"
#include "store/logical/plan.hpp"

namespace store::sql {

// The statements of a text.  A statement ends with ";".  Empty statements are left out.
std::vector<std::string> statements(std::string_view text);

// A query that DuckDB accepts and the store cannot execute.
struct not_executed : error {
  using error::error;
};

class planner {
public:
  // The catalogue outlives this object.
  explicit planner(catalogue &tables);
  planner(const planner &) = delete;
  ~planner();

  // The plan of a query.  If the query reads several tables, the call loads the columns that it reads, because their
  // numbers of distinct values decide the order of joins.  Throws store::error with DuckDB's message for a query that
  // DuckDB rejects.  The message has several lines if DuckDB shows the position.  Throws not_executed for a query with
  // a part without an operator.  Its message is one line with the name of the part and its position.
  logical::query plan(const std::string &text);

private:
  struct state;
  std::unique_ptr<state> state_;
};

} // namespace store::sql
