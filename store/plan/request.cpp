#include "store/plan/request.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "store/duckdb/values.hpp"
#include "store/error.hpp"

namespace store {

namespace {

void add_new(std::vector<std::string> &names, const std::string &name) {
  if (std::find(names.begin(), names.end(), name) == names.end())
    names.push_back(name);
}

bool is_real(const column_type &type) { return type.kind == value_kind::single || type.kind == value_kind::real; }

} // namespace

std::string asked_aggregate::name() const {
  if (what == function::count)
    return "count(*)";
  return fmt::format("{}({})", what == function::sum ? "sum" : "avg", column);
}

column_type asked_aggregate::type_of(const column_type &added) const {
  if (what == function::count)
    return {value_kind::integer, 8};
  if (what == function::average || is_real(added))
    return {value_kind::real, 8};
  return {value_kind::wide, 16, added.scale};
}

column_type asked_aggregate::type(const column_names &names) const {
  return type_of(what == function::count ? column_type() : *names.find(column).type);
}

std::vector<std::string> request::all_columns() const {
  std::vector<std::string> out;
  if (where)
    out = where->columns;
  for (const std::string &name : columns)
    add_new(out, name);
  for (const asked_aggregate &a : aggregates)
    if (a.what != function::count)
      add_new(out, a.column);
  if (!is_grouped)
    for (const asked_order &o : order)
      add_new(out, o.by);
  return out;
}

std::vector<heading> request::headings(const column_names &names) const {
  std::vector<heading> out;
  for (const std::string &name : columns)
    out.push_back({name, *names.find(name).type});
  for (const asked_aggregate &a : aggregates) {
    const column_type type = a.type(names);
    out.push_back({a.name(), type, is_real(type)});
  }
  return out;
}

bool request::has_rounded_order(const column_names &names) const {
  return is_grouped && std::any_of(order.begin(), order.end(), [&](const asked_order &o) {
           const auto found = std::find_if(aggregates.begin(), aggregates.end(),
                                           [&](const asked_aggregate &a) { return a.name() == o.by; });
           return found != aggregates.end() && is_real(found->type(names));
         });
}

request request::comparable(const column_names &names) const {
  request out = *this;
  if (has_rounded_order(names)) {
    out.order.clear();
    out.limit.reset();
  }
  return out;
}

sql_select request::sql(const column_names &names, bool with_bounds) const {
  sql_select out;
  out.condition = where ? where->sql : "";
  out.is_grouped = is_grouped;
  out.limit = limit;
  for (const std::string &name : columns) {
    const column_type &type = *names.find(name).type;
    const std::string quoted = duckdb::quoted_name(name);
    if (is_grouped)
      out.groups.push_back(quoted);
    // A group of -0 and 0 is shown as one of 0.
    out.values.push_back(is_grouped && is_real(type) ? fmt::format("{}::DOUBLE + 0", quoted) : sql_values(name, type));
  }
  std::vector<std::string> bounds;
  for (const asked_aggregate &a : aggregates) {
    if (a.what == function::count) {
      out.values.emplace_back("count(*)");
      continue;
    }
    const std::string added = duckdb::quoted_name(a.column);
    const std::string sum = fmt::format("sum({})", added);
    const bool of_reals = is_real(*names.find(a.column).type);
    if (a.what == function::average)
      out.values.push_back(fmt::format("{}::DOUBLE / count({})", sum, added));
    else
      out.values.push_back(of_reals ? sum : fmt::format("{}::{}", sum, sql_type(a.type(names))));
    if (!is_real(a.type(names)))
      continue;
    // Each of n - 1 additions, in whatever order, is off by half a unit in the last place of 53 bits at the most; so is
    // the division.  The sum of integers is exact before it becomes a double.
    const std::string error = of_reals ? fmt::format("2 * count({0}) * sum(abs({0}::DOUBLE))", added)
                                       : fmt::format("8 * abs({}::DOUBLE)", sum);
    bounds.push_back(fmt::format("1.1102230246251565e-16 * {}{}", error,
                                 a.what == function::average ? fmt::format(" / count({})", added) : ""));
  }
  if (with_bounds)
    out.values.insert(out.values.end(), bounds.begin(), bounds.end());
  for (const asked_order &o : order) {
    const auto shown = headings(names);
    const auto found = std::find_if(shown.begin(), shown.end(), [&](const heading &h) { return h.name == o.by; });
    out.order.push_back((is_grouped ? std::to_string(found - shown.begin() + 1) : duckdb::quoted_name(o.by)) +
                        (o.descending ? " DESC" : ""));
  }
  // What the order leaves open.
  if (is_grouped)
    for (size_t c = 0; c < columns.size(); ++c)
      out.order.push_back(std::to_string(c + 1));
  return out;
}

std::vector<asked_order> parse_order(std::string_view text, const request &ordered, const column_names &names) {
  std::vector<asked_order> out;
  for (auto &[name, descending] : parse_directions(text)) {
    const auto found = std::find_if(ordered.aggregates.begin(), ordered.aggregates.end(),
                                    [&, &sought = name](const asked_aggregate &a) { return alike(a.name(), sought); });
    if (found != ordered.aggregates.end()) {
      out.push_back({found->name(), descending});
      continue;
    }
    const std::string &column = names.find(name).name;
    if (ordered.is_grouped &&
        std::find(ordered.columns.begin(), ordered.columns.end(), column) == ordered.columns.end())
      throw error(fmt::format("groups are not ordered by '{}', which they do not have", shortened(column)));
    out.push_back({column, descending});
  }
  return out;
}

asked_aggregate parse_aggregate(function what, std::string_view text, const column_names &names) {
  const std::vector<std::string> columns = parse_columns(text, names);
  if (columns.size() != 1)
    throw error(fmt::format("a sum or an average is of one column, not of '{}'", shortened(text)));
  const column_info &info = names.find(columns.front());
  if (!info.type->is_numeric())
    throw error(fmt::format("column '{}' is of type {}, of which there is no sum", shortened(info.name),
                            shortened(info.sql_type)));
  return {what, info.name};
}

} // namespace store
