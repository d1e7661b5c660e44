#include "store/query/condition.hpp"

#include <utility>

#include <fmt/format.h>

#include "store/duckdb/connection.hpp"

namespace store {

namespace {

constexpr std::pair<std::string_view, comparison> operators[] = {
    {"=", comparison::eq},  {"<>", comparison::ne}, {"<", comparison::lt},
    {"<=", comparison::le}, {">", comparison::gt},  {">=", comparison::ge},
};

std::vector<std::string> constants_of(const condition &c) {
  if (const auto *compared = std::get_if<comparison_test>(&c.test))
    return {compared->value};
  if (const auto *between = std::get_if<interval_test>(&c.test))
    return {between->low, between->high};
  return std::get<set_test>(c.test).values;
}

} // namespace

std::string_view sql_name(comparison op) {
  for (const auto &[name, known] : operators)
    if (known == op)
      return name;
  return "";
}

void check_constants(const condition &c, value_kind kind) {
  for (const std::string &constant : constants_of(c))
    parse_value(kind, constant);
}

std::string to_sql(const condition &c, value_kind kind) {
  const std::string column = duckdb::quoted_name(c.column);
  const auto constant = [kind](const std::string &text) {
    return fmt::format("{}::{}", duckdb::quoted_text(text), sql_type_of(kind));
  };
  if (const auto *compared = std::get_if<comparison_test>(&c.test))
    return fmt::format("{} {} {}", column, sql_name(compared->op), constant(compared->value));
  if (const auto *between = std::get_if<interval_test>(&c.test))
    return fmt::format("{} {} {} AND {} {} {}", column, includes_low(between->form) ? ">=" : ">",
                       constant(between->low), column, includes_high(between->form) ? "<=" : "<",
                       constant(between->high));
  std::string list;
  for (const std::string &member : std::get<set_test>(c.test).values)
    list += fmt::format("{}{}", list.empty() ? "" : ", ", constant(member));
  return fmt::format("{} IN ({})", column, list);
}

} // namespace store
