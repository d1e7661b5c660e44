#include "store/condition.hpp"

#include <utility>

#include <fmt/format.h>

#include "store/duckdb.hpp"
#include "store/error.hpp"

namespace store {

namespace {

constexpr std::pair<std::string_view, comparison> operators[] = {
    {"=", comparison::eq},  {"<>", comparison::ne}, {"<", comparison::lt},
    {"<=", comparison::le}, {">", comparison::gt},  {">=", comparison::ge},
};
constexpr std::string_view operator_characters = "=<>!~";
constexpr std::string_view blanks = " \t";

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(blanks);
  return begin == text.npos ? std::string_view() : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// Takes a text in quotes off the front and gives what it says.
std::string take_quoted(std::string_view &rest, std::string_view whole) {
  const char quote = rest.front();
  std::string out;
  for (size_t i = 1; i < rest.size(); ++i) {
    if (rest[i] == quote) {
      if (i + 1 == rest.size() || rest[i + 1] != quote) {
        rest.remove_prefix(i + 1);
        return out;
      }
      ++i;
    }
    out += rest[i];
  }
  throw error(fmt::format("a quote is not closed in '{}'", whole));
}

std::string take_column(std::string_view &rest, std::string_view whole) {
  if (rest.starts_with('"'))
    return take_quoted(rest, whole);
  const size_t end = std::min(rest.find_first_of(operator_characters), rest.size());
  std::string name(trimmed(rest.substr(0, end)));
  rest.remove_prefix(end);
  return name;
}

comparison take_operator(std::string_view &rest, std::string_view whole) {
  const size_t end = std::min(rest.find_first_not_of(operator_characters), rest.size());
  const std::string_view name = rest.substr(0, end);
  rest.remove_prefix(end);
  for (const auto &[known, op] : operators)
    if (known == name)
      return op;
  if (name.empty())
    throw error(fmt::format("no operator in '{}'; one of = <> < <= > >= is needed", whole));
  throw error(fmt::format("unknown operator '{}' in '{}'; one of = <> < <= > >= is needed", name, whole));
}

std::string take_value(std::string_view rest, std::string_view whole) {
  if (!rest.starts_with('\''))
    return std::string(rest);
  std::string text = take_quoted(rest, whole);
  if (!rest.empty())
    throw error(fmt::format("'{}' does not end with its value", whole));
  return text;
}

} // namespace

std::string_view sql_name(comparison op) {
  for (const auto &[name, known] : operators)
    if (known == op)
      return name;
  return "";
}

condition parse_condition(std::string_view text) {
  std::string_view rest = trimmed(text);
  condition c{};
  c.column = take_column(rest, text);
  if (c.column.empty())
    throw error(fmt::format("no column in '{}'", text));
  rest = trimmed(rest);
  c.op = take_operator(rest, text);
  rest = trimmed(rest);
  if (rest.empty())
    throw error(fmt::format("no value in '{}'", text));
  c.value = take_value(rest, text);
  return c;
}

std::string to_sql(const condition &c, value_kind kind) {
  return fmt::format("{} {} {}::{}", duckdb::quoted_name(c.column), sql_name(c.op), duckdb::quoted_text(c.value),
                     sql_type_of(kind));
}

code_comparison to_codes(const condition &c, const column &on) {
  const auto [position, found] = on.values.find(parse_value(on.kind, c.value));
  // Behind the last value this may be 2^width, so it is taken as a code only when there is a value at the position.
  const auto code = static_cast<uint32_t>(on.first_code() + position);
  if (found)
    return {c.op, code};

  // No row has the value.  NULL matches nothing, so the comparisons with the first code take all values or none.
  const code_comparison all{comparison::ge, on.first_code()};
  const code_comparison none{comparison::lt, on.first_code()};
  const bool above_all = position == on.values.size();
  switch (c.op) {
  case comparison::eq:
    return none;
  case comparison::ne:
    return all;
  case comparison::lt:
  case comparison::le:
    return above_all ? all : code_comparison{comparison::lt, code};
  case comparison::gt:
  case comparison::ge:
    return above_all ? none : code_comparison{comparison::ge, code};
  }
  return none;
}

} // namespace store
