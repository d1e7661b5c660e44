// A plan as SQL again, so that DuckDB can answer it and be compared with DuckDB's answer to the query itself.
#pragma once

#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sql/catalogue.hpp"
#include "store/logical/plan.hpp"
#include "store/logical/sql.hpp"

namespace vorn_test {

class plan_sql {
public:
  explicit plan_sql(store::sql::catalogue &tables) : tables_(tables) {}

  std::string operator()(const store::logical::plan &of) {
    using enum store::logical::plan_kind;
    switch (of.what) {
    case scan:
      return scanned(of);
    case values:
      return listed(of);
    case filter:
      return fmt::format("SELECT * FROM ({}) WHERE {}", (*this)(of.children[0]),
                         fmt::join(texts(of.expressions), " AND "));
    case projection:
      return fmt::format("SELECT {} FROM ({})", named(texts(of.expressions)), (*this)(of.children[0]));
    case join:
      return joined(of);
    case cross_product:
      return fmt::format("SELECT * FROM ({}) CROSS JOIN ({})", (*this)(of.children[0]), right_side(of));
    case aggregate:
      return aggregated(of);
    case distinct:
      return fmt::format("SELECT DISTINCT * FROM ({})", (*this)(of.children[0]));
    case order:
    case limit:
      return ordered(of);
    case union_all:
      return fmt::format("({}) UNION ALL ({})", (*this)(of.children[0]), (*this)(of.children[1]));
    case shared:
      return fmt::format("WITH shared{} AS MATERIALIZED ({}) SELECT * FROM ({})", of.shared_index,
                         (*this)(of.children[0]), (*this)(of.children[1]));
    case shared_reference:
      break;
    }
    return fmt::format("SELECT * FROM shared{}", of.shared_index);
  }

private:
  using plan = store::logical::plan;

  static std::vector<std::string> texts(const std::vector<store::logical::expression> &list) {
    std::vector<std::string> out;
    out.reserve(list.size());
    for (const auto &e : list)
      out.push_back(fmt::format("CAST({} AS {})", e.sql, e.type.name));
    return out;
  }
  static std::string named(const std::vector<std::string> &list, size_t first = 0) {
    std::vector<std::string> out;
    out.reserve(list.size());
    for (const std::string &text : list)
      out.push_back(fmt::format("{} AS c{}", text, first++));
    return out.empty() ? "0 AS no_column" : fmt::format("{}", fmt::join(out, ", "));
  }

  std::string scanned(const plan &of) {
    std::vector<std::string> columns;
    for (size_t index : of.table_columns)
      columns.push_back(store::logical::quoted_name(tables_.find(of.table)->columns()[index].name));
    return fmt::format("SELECT {} FROM {}", named(columns), store::logical::quoted_name(of.table));
  }
  static std::string listed(const plan &of) {
    std::vector<std::string> rows;
    for (const auto &row : of.rows)
      rows.push_back(fmt::format("(SELECT {})", named(texts(row))));
    if (!rows.empty())
      return fmt::format("{}", fmt::join(rows, " UNION ALL "));
    std::vector<std::string> nulls;
    for (const auto &type : of.types)
      nulls.push_back(fmt::format("CAST(NULL AS {})", type.name));
    return fmt::format("SELECT {} WHERE false", named(nulls));
  }

  // The right child of a join with columns that count on.
  std::string right_side(const plan &of) {
    const size_t width = of.children[0].types.size();
    std::vector<std::string> columns;
    for (size_t i = 0; i < of.children[1].types.size(); ++i)
      columns.push_back(fmt::format("c{}", i));
    return fmt::format("SELECT {} FROM ({})", named(columns, width), (*this)(of.children[1]));
  }
  std::string joined(const plan &of) {
    std::vector<std::string> on;
    for (store::logical::join_condition condition : of.conditions) {
      move_columns(condition.right, of.children[0].types.size());
      store::logical::expression both;
      both.what = condition.comparison;
      both.children = {condition.left, condition.right};
      write_sql(both);
      on.push_back(both.sql);
    }
    if (of.residual)
      on.push_back(of.residual->sql);
    const std::string condition = fmt::format("{}", fmt::join(on, " AND "));
    const std::string left = (*this)(of.children[0]);
    const std::string right = right_side(of);
    if (of.join == store::logical::join_kind::mark)
      return fmt::format("SELECT *, CASE WHEN EXISTS (FROM ({1}) WHERE {2}) THEN true WHEN EXISTS (FROM ({1}) WHERE "
                         "({2}) IS NULL) THEN NULL ELSE false END AS c{3} FROM ({0})",
                         left, right, condition, of.children[0].types.size());
    static constexpr std::string_view names[] = {"INNER", "LEFT", "RIGHT", "FULL", "SEMI", "ANTI", "", "LEFT"};
    return fmt::format("SELECT * FROM ({}) {} JOIN ({}) ON {}", left, names[static_cast<size_t>(of.join)], right,
                       condition);
  }

  std::string aggregated(const plan &of) {
    std::vector<std::string> columns = texts(of.groups);
    for (const auto &a : of.aggregates)
      columns.push_back(a.sql);
    std::string by;
    if (!of.grouping_sets.empty()) {
      std::vector<std::string> sets;
      for (const auto &set : of.grouping_sets) {
        std::vector<std::string> groups;
        groups.reserve(set.size());
        for (size_t group : set)
          groups.push_back(columns[group]);
        sets.push_back(fmt::format("({})", fmt::join(groups, ", ")));
      }
      by = fmt::format(" GROUP BY GROUPING SETS ({})", fmt::join(sets, ", "));
    } else if (!of.groups.empty()) {
      by = fmt::format(" GROUP BY {}", fmt::join(texts(of.groups), ", "));
    }
    return fmt::format("SELECT {} FROM ({}){}", named(columns), (*this)(of.children[0]), by);
  }

  std::string ordered(const plan &of) {
    std::vector<std::string> keys;
    for (const auto &key : of.keys)
      keys.push_back(fmt::format("{} {} NULLS {}", key.by.sql, key.is_descending ? "DESC" : "ASC",
                                 key.nulls_first ? "FIRST" : "LAST"));
    std::string out = fmt::format("SELECT * FROM ({})", (*this)(of.children[0]));
    if (!keys.empty())
      out += fmt::format(" ORDER BY {}", fmt::join(keys, ", "));
    if (of.limit)
      out += fmt::format(" LIMIT {}", *of.limit);
    return out + fmt::format(" OFFSET {}", of.offset);
  }

  store::sql::catalogue &tables_;
};

} // namespace vorn_test
