#include "sql/session.hpp"

#include <algorithm>

namespace store::sql {

namespace {

void add_tables(const logical::plan &of, std::vector<std::string> &to) {
  if (of.what == logical::plan_kind::scan && std::find(to.begin(), to.end(), of.table) == to.end())
    to.push_back(of.table);
  for (const logical::plan &below : of.children)
    add_tables(below, to);
}

} // namespace

logical::query session::plan(const std::string &text) {
  if (!planner_)
    planner_.emplace(tables_);
  return planner_->plan(text);
}

exec::relation_ptr session::operators(const logical::plan &of) {
  return exec::build(
      of,
      [&](const logical::plan &scan) -> exec::table_part {
        if (scan.row_groups.empty())
          return tables_.find(scan.table);
        return tables_.find_part(scan.table, scan.row_groups[0], scan.row_groups[1]);
      },
      functions_);
}

std::vector<std::string> session::tables_of(const logical::query &of) {
  std::vector<std::string> out;
  add_tables(of.root, out);
  return out;
}

} // namespace store::sql
