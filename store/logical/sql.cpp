#include "store/logical/sql.hpp"

#include <cmath>

#include <fmt/format.h>

namespace store::logical {

namespace {

std::string quoted(std::string_view text, char quote) {
  std::string out(1, quote);
  for (char c : text) {
    if (c == quote)
      out += quote;
    out += c;
  }
  return out += quote;
}

// Bytes as a text that DuckDB reads as a BLOB.
std::string escaped(std::string_view bytes) {
  std::string out;
  for (char c : bytes)
    out += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
  return out;
}

// The digits of a number with a point before the last ones.
std::string decimal_text(__int128 number, uint32_t scale) {
  const bool is_negative = number < 0;
  auto magnitude = static_cast<unsigned __int128>(number);
  if (is_negative)
    magnitude = -magnitude;
  std::string digits = fmt::format("{}", magnitude);
  if (scale > 0) {
    if (digits.size() <= scale)
      digits.insert(0, scale + 1 - digits.size(), '0');
    digits.insert(digits.end() - scale, '.');
  }
  return is_negative ? "-" + digits : digits;
}

std::string real_text(double value) {
  if (std::isnan(value))
    return "nan";
  if (std::isinf(value))
    return value < 0 ? "-inf" : "inf";
  return fmt::format("{}", value);
}

std::string number_text(__int128 number, const column_type &type) {
  switch (type.kind) {
  case value_kind::boolean:
    return number != 0 ? "true" : "false";
  case value_kind::integer:
  case value_kind::natural:
  case value_kind::wide:
    return decimal_text(number, type.scale);
  default: // times, and a UUID
    std::string out;
    append_text(out, type.is_wide() ? cell(wide_key_of(number)) : cell(static_cast<int64_t>(number)), type);
    return out;
  }
}

std::string joined(const std::vector<expression> &parts, size_t first, std::string_view between) {
  std::string out;
  for (size_t i = first; i < parts.size(); ++i)
    out += (i == first ? "" : std::string(between)) + parts[i].sql;
  return out;
}

std::string case_sql(const std::vector<expression> &parts) {
  std::string out = "CASE";
  for (size_t i = 0; i + 1 < parts.size(); i += 2)
    out += fmt::format(" WHEN {} THEN {}", parts[i].sql, parts[i + 1].sql);
  return fmt::format("{} ELSE {} END", out, parts.back().sql);
}

std::string function_sql(const expression &e) {
  const std::string arguments = joined(e.children, 0, ", ");
  // Only the type has the names of the fields.
  if (e.name == "struct_pack")
    return fmt::format("CAST(row({}) AS {})", arguments, e.type.name);
  std::string call = fmt::format("{}({})", quoted_name(e.name), arguments);
  // DuckDB casts the arguments of decimal arithmetic to the type of the result.  If it binds them again, it chooses a
  // wider result type.  An error takes the type that its context requires.
  if (e.type.name.starts_with("DECIMAL") || e.name == "error")
    return fmt::format("CAST({} AS {})", call, e.type.name);
  return call;
}

std::string sql_of(const expression &e) {
  switch (e.what) {
  case operation::column:
    return fmt::format("c{}", e.index);
  case operation::constant:
    return e.type.held || is_null(e.value) ? constant_sql(e.value, e.type) : e.sql;
  case operation::all_of:
    return fmt::format("({})", joined(e.children, 0, " AND "));
  case operation::any_of:
    return fmt::format("({})", joined(e.children, 0, " OR "));
  case operation::negation:
    return fmt::format("(NOT {})", e.children[0].sql);
  case operation::is_null:
    return fmt::format("({} IS NULL)", e.children[0].sql);
  case operation::is_not_null:
    return fmt::format("({} IS NOT NULL)", e.children[0].sql);
  case operation::in:
  case operation::not_in:
    return fmt::format("({} {} ({}))", e.children[0].sql, e.what == operation::in ? "IN" : "NOT IN",
                       joined(e.children, 1, ", "));
  case operation::case_when:
    return case_sql(e.children);
  case operation::cast:
    return fmt::format("{}({} AS {})", e.may_fail ? "TRY_CAST" : "CAST", e.children[0].sql, e.type.name);
  case operation::function:
    return function_sql(e);
  default:
    return fmt::format("({} {} {})", e.children[0].sql, sign_of(e.what), e.children[1].sql);
  }
}

} // namespace

std::string_view sign_of(operation comparison) {
  static constexpr std::string_view signs[] = {
      "=", "<>", "<", "<=", ">", ">=", "IS DISTINCT FROM", "IS NOT DISTINCT FROM"};
  return signs[static_cast<size_t>(comparison) - static_cast<size_t>(operation::equal)];
}

std::string quoted_name(std::string_view name) { return quoted(name, '"'); }

std::string quoted_text(std::string_view text) {
  // The parser ends at a byte of 0.
  std::string out;
  for (size_t end; (end = text.find('\0')) != text.npos; text.remove_prefix(end + 1))
    out += quoted(text.substr(0, end), '\'') + " || chr(0) || ";
  return out.empty() ? quoted(text, '\'') : fmt::format("({}{})", out, quoted(text, '\''));
}

std::string constant_sql(const scalar &value, const sql_type &type) {
  if (is_null(value))
    return fmt::format("CAST(NULL AS {})", type.name);
  std::string text;
  if (const auto *number = std::get_if<__int128>(&value))
    text = number_text(*number, *type.held);
  else if (const auto *real = std::get_if<double>(&value))
    text = real_text(*real);
  else
    text = type.held->kind == value_kind::blob ? escaped(std::get<std::string>(value)) : std::get<std::string>(value);
  return fmt::format("CAST({} AS {})", quoted_text(text), type.name);
}

void write_sql(expression &e) {
  for (expression &child : e.children)
    write_sql(child);
  e.sql = sql_of(e);
}

void move_columns(expression &e, size_t by) {
  const auto move = [by](const auto &self, expression &moved) -> void {
    if (moved.what == operation::column)
      moved.index += by;
    for (expression &child : moved.children)
      self(self, child);
  };
  move(move, e);
  write_sql(e);
}

} // namespace store::logical
