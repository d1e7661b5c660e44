#include "store/logical/text.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace store::logical {

namespace {

std::string joined(const std::vector<expression> &list, std::string_view between = ", ") {
  std::string out;
  for (const expression &e : list)
    out += (out.empty() ? "" : std::string(between)) + e.sql;
  return out;
}

std::string_view name_of(join_kind kind) {
  static constexpr std::string_view names[] = {"inner", "left", "right", "full", "semi", "anti", "mark", "single"};
  return names[static_cast<size_t>(kind)];
}

std::string_view sign_of(operation comparison) {
  static constexpr std::string_view signs[] = {
      "=", "<>", "<", "<=", ">", ">=", "IS DISTINCT FROM", "IS NOT DISTINCT FROM"};
  return signs[static_cast<size_t>(comparison) - static_cast<size_t>(operation::equal)];
}

std::string join_text(const plan &of) {
  std::string on;
  for (const join_condition &condition : of.conditions)
    on += fmt::format("{}left {} {} right {}", on.empty() ? "" : " AND ", condition.left.sql,
                      sign_of(condition.comparison), condition.right.sql);
  if (of.residual)
    on += (on.empty() ? "" : " AND ") + of.residual->sql;
  return fmt::format("{} join on {}", name_of(of.join), on);
}

std::string aggregate_text(const plan &of) {
  std::string calls;
  for (const aggregate &a : of.aggregates)
    calls += (calls.empty() ? "" : ", ") + a.sql;
  std::string out = "aggregate " + calls;
  if (!of.groups.empty())
    out += fmt::format("{}by {}", calls.empty() ? "" : " ", joined(of.groups));
  if (!of.grouping_sets.empty())
    out += fmt::format(" in sets {}", of.grouping_sets);
  return out;
}

std::string limit_text(const plan &of) {
  std::string out;
  if (of.limit)
    out += fmt::format(" limit {}", *of.limit);
  if (of.percent)
    out += fmt::format(" limit {} %", *of.percent);
  if (of.offset != 0)
    out += fmt::format(" offset {}", of.offset);
  return out;
}

std::string order_text(const plan &of) {
  std::string keys;
  for (const sort_key &key : of.keys)
    keys += fmt::format("{}{}{}{}", keys.empty() ? "" : ", ", key.by.sql, key.is_descending ? " DESC" : "",
                        key.nulls_first ? " NULLS FIRST" : "");
  return fmt::format("order by {}{}", keys, limit_text(of));
}

void append_lines(std::string &out, const plan &of, size_t depth) {
  std::string line = description(of);
  std::replace(line.begin(), line.end(), '\n', ' '); // in a constant
  out += std::string(2 * depth, ' ') + line + '\n';
  for (const plan &child : of.children)
    append_lines(out, child, depth + 1);
}

} // namespace

std::string description(const plan &of) {
  switch (of.what) {
  case plan_kind::scan:
    return fmt::format("scan {} columns {}{}", of.table, fmt::join(of.table_columns, ", "),
                       of.row_groups.empty() ? "" : fmt::format(" row groups {}", fmt::join(of.row_groups, " to ")));
  case plan_kind::values:
    return fmt::format("values, {} rows", of.rows.size());
  case plan_kind::filter:
    return "filter " + joined(of.expressions, " AND ");
  case plan_kind::projection:
    return "projection " + joined(of.expressions);
  case plan_kind::join:
    return join_text(of);
  case plan_kind::cross_product:
    return "cross product";
  case plan_kind::aggregate:
    return aggregate_text(of);
  case plan_kind::distinct:
    return "distinct";
  case plan_kind::order:
    return order_text(of);
  case plan_kind::limit:
    return "rows" + limit_text(of);
  case plan_kind::union_all:
    return "union all";
  case plan_kind::shared:
    return fmt::format("shared rows #{}", of.shared_index);
  case plan_kind::shared_reference:
    break;
  }
  return fmt::format("read shared rows #{}", of.shared_index);
}

std::string to_text(const plan &of) {
  std::string out;
  append_lines(out, of, 0);
  return out;
}

} // namespace store::logical
