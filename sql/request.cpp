#include "sql/request.hpp"

#include <algorithm>
#include <utility>

namespace store {

namespace {

void add_new(std::vector<std::string> &names, const std::string &name) {
  if (std::find(names.begin(), names.end(), name) == names.end())
    names.push_back(name);
}

} // namespace

void request::set_where(condition predicate) {
  where_sql = std::move(predicate.sql);
  where_columns = std::move(predicate.columns);
  where = std::move(predicate);
}

std::vector<std::string> request::all_columns() const {
  std::vector<std::string> out = where_columns;
  if (area)
    for (const std::string &name : {area->x_column, area->y_column})
      add_new(out, name);
  for (const std::string &name : columns)
    add_new(out, name);
  for (const asked_aggregate &a : aggregates)
    for (const std::string &name : a.columns())
      add_new(out, name);
  if (!is_grouped)
    for (const asked_order &o : order)
      add_new(out, o.by);
  return out;
}

bool request::has_rounded_order(const column_names &names) const {
  return is_grouped && std::any_of(order.begin(), order.end(), [&](const asked_order &o) {
           const auto found = std::find_if(aggregates.begin(), aggregates.end(),
                                           [&](const asked_aggregate &a) { return a.name() == o.by; });
           return found != aggregates.end() && found->type(names).is_real();
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

} // namespace store
