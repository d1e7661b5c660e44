#include "store/plan/request.hpp"

#include <algorithm>

#include <fmt/format.h>

namespace store {

namespace {

void add_new(std::vector<std::string> &names, const std::string &name) {
  if (std::find(names.begin(), names.end(), name) == names.end())
    names.push_back(name);
}

} // namespace

std::string asked_aggregate::name() const {
  if (what == function::count)
    return "count(*)";
  const std::string_view called = what == function::sum ? "sum" : "avg";
  if (op == '\0')
    return fmt::format("{}({})", called, left.text);
  return fmt::format("{}({} {} {})", called, left.text, op, right.text);
}

column_type asked_aggregate::type_of(const column_type &added) const {
  if (what == function::count)
    return {value_kind::integer, 8};
  if (what == function::average || op != '\0' || added.is_real())
    return {value_kind::real, 8};
  return {value_kind::wide, 16, added.scale};
}

column_type asked_aggregate::type(const column_names &names) const {
  const std::string *added = plain_column();
  return type_of(added != nullptr ? *names.find(*added).type : column_type());
}

const std::string *asked_aggregate::plain_column() const {
  return what == function::count || op != '\0' ? nullptr : &left.text;
}

uint32_t asked_aggregate::opcode() const {
  return op == '+' ? VORN_OPC_ADD : op == '-' ? VORN_OPC_SUB : op == '*' ? VORN_OPC_MUL : VORN_OPC_NONE;
}

std::vector<std::string> asked_aggregate::columns() const {
  std::vector<std::string> out;
  if (what != function::count && !left.constant)
    out.push_back(left.text);
  if (op != '\0' && !right.constant)
    out.push_back(right.text);
  return out;
}

std::vector<std::string> request::all_columns() const {
  std::vector<std::string> out;
  if (where)
    out = where->columns;
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

std::vector<heading> request::headings(const column_names &names) const {
  std::vector<heading> out;
  for (const std::string &name : columns)
    out.push_back({name, *names.find(name).type});
  for (const asked_aggregate &a : aggregates) {
    const column_type type = a.type(names);
    out.push_back({a.name(), type, type.is_real()});
  }
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
