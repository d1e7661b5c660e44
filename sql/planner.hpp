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

// The statements of a text, which end with ";".  Empty ones are left out.
std::vector<std::string> statements(std::string_view text);

// A query that DuckDB takes and that the store cannot execute.
struct not_executed : error {
  using error::error;
};

class planner {
public:
  // The catalogue outlives this.
  explicit planner(catalogue &tables);
  planner(const planner &) = delete;
  ~planner();

  // The plan of a query.  The columns that a query of several tables reads are loaded: how many different values they
  // have decides the order of joins.  Throws store::error: with DuckDB's message for a query that DuckDB does not take,
  // of several lines where DuckDB shows the place; or not_executed, with one line that names a part that has no
  // operator, and its place.
  logical::query plan(const std::string &text);

private:
  struct state;
  std::unique_ptr<state> state_;
};

} // namespace store::sql
