// Reads the operators of DuckDB's plan from JSON.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "sql/expression_reader.hpp"
#include "store/logical/plan.hpp"

namespace store::sql {

// Reads one plan.  Subqueries that refer to the query around them are lowered to operators that anybody has: the rows
// of the query around are kept, and the subquery reads their distinct values.
class plan_reader {
public:
  explicit plan_reader(const expression_reader &expressions) : expressions_(expressions) {}

  // What json_serialize_plan gives.  Throws missing_part, and store::error with one line where it is no such plan,
  // whatever it is.
  logical::plan read_whole(const nlohmann::json &from);

private:
  logical::plan read(const nlohmann::json &from);

  using columns = std::vector<logical::sql_type>;
  // Columns of the query around a subquery, which is kept.
  struct outer_columns {
    size_t kept = 0;
    columns types;
    std::vector<logical::expression> read;
  };

  logical::plan read_child(const nlohmann::json &from, size_t index);
  logical::plan read_scan(const nlohmann::json &from);
  logical::plan read_values(const nlohmann::json &from);
  logical::plan read_chunk(const nlohmann::json &from);
  logical::plan read_filter(const nlohmann::json &from);
  logical::plan read_projection(const nlohmann::json &from);
  logical::plan read_comparison_join(const nlohmann::json &from);
  logical::plan read_any_join(const nlohmann::json &from);
  logical::plan read_correlated_join(const nlohmann::json &from);
  logical::plan read_outer_columns();
  logical::plan read_cross_product(const nlohmann::json &from);
  logical::plan read_aggregate(const nlohmann::json &from);
  logical::plan with_grouping_functions(logical::plan sets, const std::vector<std::vector<size_t>> &functions);
  logical::plan read_distinct(const nlohmann::json &from);
  logical::plan read_order(const nlohmann::json &from);
  logical::plan ordered(logical::plan rows, const nlohmann::json &orders) const;
  logical::plan read_limit(const nlohmann::json &from);
  logical::plan read_union(const nlohmann::json &from);
  // INTERSECT and EXCEPT without ALL.
  logical::plan read_set_operation(const nlohmann::json &from, logical::join_kind kind);
  logical::plan read_common_table(const nlohmann::json &from);
  logical::plan read_common_reference(const nlohmann::json &from);

  logical::aggregate read_aggregate_function(const nlohmann::json &from) const;
  std::vector<logical::expression> read_held(const nlohmann::json &list) const;
  logical::plan joined(const nlohmann::json &from, logical::plan left, logical::plan right) const;

  const expression_reader &expressions_;
  size_t shared_ = 0; // plans that are kept so far
  std::vector<outer_columns> around_;
  struct common_table {
    size_t kept = 0;
    columns types;
  };
  std::map<size_t, common_table> common_; // by the numbers of DuckDB
};

} // namespace store::sql
