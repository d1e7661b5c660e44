#include "store/plan/query_parts.hpp"

#include <fmt/format.h>

namespace store {

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

std::vector<heading> query_parts::headings(const column_names &names) const {
  std::vector<heading> out;
  for (const std::string &name : columns)
    out.push_back({name, *names.find(name).type});
  for (const asked_aggregate &a : aggregates) {
    const column_type type = a.type(names);
    out.push_back({a.name(), type, type.is_real()});
  }
  return out;
}

} // namespace store
