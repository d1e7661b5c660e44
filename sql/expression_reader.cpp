#include "sql/expression_reader.hpp"

#include <array>
#include <limits>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "sql/json_document.hpp"
#include "store/error.hpp"
#include "store/logical/sql.hpp"

namespace store::sql {

namespace {

using logical::expression;
using logical::operation;
using logical::scalar;
using logical::sql_type;
using nlohmann::json;

expression made(operation what, std::string type, std::vector<expression> children) {
  expression out;
  out.what = what;
  out.type = sql_type(std::move(type));
  out.children = std::move(children);
  return out;
}

// Flattens a conjunction inside a conjunction of the same kind.
void add_flat(expression &into, expression &&child) {
  if (child.what != into.what) {
    into.children.push_back(std::move(child));
    return;
  }
  for (expression &inner : child.children)
    into.children.push_back(std::move(inner));
}

std::string nested_type_name(const std::string &id, const json &info) {
  if (id == "LIST")
    return expression_reader::type(info.at("child_type")).name + "[]";
  if (id == "ARRAY")
    return fmt::format("{}[{}]", expression_reader::type(info.at("child_type")).name, info.at("size").get<uint64_t>());
  if (id == "MAP") {
    const json &pair = info.at("child_type").at("type_info").at("child_types");
    return fmt::format("MAP({}, {})", expression_reader::type(pair.at(0).at("second")).name,
                       expression_reader::type(pair.at(1).at("second")).name);
  }
  std::vector<std::string> parts;
  if (id == "ENUM") {
    for (const json &value : info.at("values"))
      parts.push_back(logical::quoted_text(value.get<std::string>()));
    return fmt::format("ENUM({})", fmt::join(parts, ", "));
  }
  for (const json &field : info.at("child_types"))
    parts.push_back(logical::quoted_name(field.at("first").get<std::string>()) + " " +
                    expression_reader::type(field.at("second")).name);
  return fmt::format("{}({})", id, fmt::join(parts, ", "));
}

__int128 wide_number(const json &value) {
  if (value.is_number_unsigned())
    return value.get<uint64_t>();
  if (value.is_number())
    return value.get<int64_t>();
  if (value.is_boolean())
    return value.get<bool>() ? 1 : 0;
  return static_cast<__int128>(value.at("upper").get<int64_t>()) << 64 | value.at("lower").get<uint64_t>();
}

double real_number(const json &value) {
  if (!value.is_string())
    return value.get<double>();
  const std::string name = value.get<std::string>();
  const double infinity = std::numeric_limits<double>::infinity();
  return name == "NaN" ? std::numeric_limits<double>::quiet_NaN() : name == "Infinity" ? infinity : -infinity;
}

// The bytes of a BLOB.  The text has some of them as "\xFF".
std::string unescaped(const std::string &text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i)
    if (text[i] == '\\') {
      out += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
      i += 3;
    } else {
      out += text[i];
    }
  return out;
}

scalar held_value(const json &value, const sql_type &type) {
  switch (type.held->kind) {
  case value_kind::text:
    return value.get<std::string>();
  case value_kind::blob:
    return unescaped(value.get<std::string>());
  case value_kind::single:
  case value_kind::real:
    return real_number(value);
  case value_kind::timestamp: {
    const __int128 number = wide_number(value);
    const __int128 unit = type.name == "TIMESTAMP_S" ? 1'000'000 : type.name == "TIMESTAMP_MS" ? 1'000 : 1;
    constexpr __int128 infinity = std::numeric_limits<int64_t>::max();
    return number == infinity || number == -infinity ? number : number * unit;
  }
  default:
    return wide_number(value);
  }
}

// A constant of a type that the store does not hold, as SQL.
std::string literal(const json &value, const std::string &id, const sql_type &type) {
  const auto values = [&](bool with_names) {
    std::vector<std::string> out;
    const json *fields = with_names ? &value.at("type").at("type_info").at("child_types") : nullptr;
    size_t index = 0;
    for (const json &child : value.at("value").at("children")) {
      const std::string name =
          with_names ? logical::quoted_text(fields->at(index++).at("first").get<std::string>()) + ": " : "";
      out.push_back(name + expression_reader::constant(child).sql);
    }
    return out;
  };
  std::string text;
  if (id == "INTERVAL")
    text = fmt::format("'{} months {} days {} microseconds'", value.at("value").at("months").get<int64_t>(),
                       value.at("value").at("days").get<int64_t>(), value.at("value").at("micros").get<int64_t>());
  else if (id == "LIST" || id == "ARRAY")
    text = fmt::format("[{}]", fmt::join(values(false), ", "));
  else if (id == "STRUCT")
    text = fmt::format("{{{}}}", fmt::join(values(true), ", "));
  else if (id == "ENUM")
    text = logical::quoted_text(
        value.at("type").at("type_info").at("values").at(value.at("value").get<uint64_t>()).get<std::string>());
  else if (id == "UHUGEINT")
    text = fmt::format("'{}'", static_cast<unsigned __int128>(value.at("value").at("upper").get<uint64_t>()) << 64 |
                                   value.at("value").at("lower").get<uint64_t>());
  else
    throw missing_part{"constants of the type " + type.name, "", {}};
  return fmt::format("CAST({} AS {})", text, type.name);
}

} // namespace

operation comparison_of(const std::string &name) {
  static constexpr std::array<std::pair<std::string_view, operation>, 8> known{{
      {"COMPARE_EQUAL", operation::equal},
      {"COMPARE_NOTEQUAL", operation::not_equal},
      {"COMPARE_LESSTHAN", operation::less},
      {"COMPARE_LESSTHANOREQUALTO", operation::less_equal},
      {"COMPARE_GREATERTHAN", operation::greater},
      {"COMPARE_GREATERTHANOREQUALTO", operation::greater_equal},
      {"COMPARE_DISTINCT_FROM", operation::distinct_from},
      {"COMPARE_NOT_DISTINCT_FROM", operation::not_distinct_from},
  }};
  for (const auto &[text, what] : known)
    if (text == name)
      return what;
  throw missing_part{"comparisons of this kind", name, {}};
}

sql_type expression_reader::type(const json &from) {
  const std::string id = from.at("id").get<std::string>();
  const json &info = member(from, "type_info");
  if (info.is_null())
    return id == "NULL" || id == "\"NULL\"" ? sql_type("INTEGER") : sql_type(id);
  if (const std::string alias = info.value("alias", ""); !alias.empty()) {
    sql_type out(alias);
    if (id == "VARCHAR")
      out.held = type_of(id);
    return out;
  }
  if (id == "DECIMAL")
    return fmt::format("DECIMAL({},{})", info.at("width").get<int>(), info.at("scale").get<int>());
  if (id == "LIST" || id == "ARRAY" || id == "MAP" || id == "ENUM" || id == "STRUCT" || id == "UNION")
    return nested_type_name(id, info);
  return id;
}

std::optional<uint32_t> expression_reader::location(const json &from) {
  const auto found = from.find("query_location");
  if (found == from.end() || !found->is_number() || found->get<uint64_t>() > std::numeric_limits<uint32_t>::max())
    return std::nullopt;
  return found->get<uint32_t>();
}

expression expression_reader::constant(const json &value) {
  expression out;
  out.type = type(value.at("type"));
  if (value.value("is_null", false))
    out.value = std::monostate();
  else if (out.type.held)
    out.value = held_value(value.at("value"), out.type);
  else
    out.value = out.sql = literal(value, value.at("type").at("id").get<std::string>(), out.type);
  logical::write_sql(out);
  return out;
}

expression expression_reader::read(const json &from) const {
  expression out = parsed(from);
  logical::write_sql(out);
  return out;
}

expression expression_reader::read_held(const json &from) const {
  expression out = read(from);
  if (!out.type.held)
    throw missing_part{"values of the type " + out.type.name, "", out.location};
  return out;
}

expression expression_reader::parsed(const json &from) const {
  const std::string kind = from.at("expression_class").get<std::string>();
  expression out;
  if (kind == "BOUND_REF") {
    out.what = operation::column;
    out.type = type(from.at("return_type"));
    out.index = from.at("index").get<size_t>();
    if (!out.type.held)
      throw missing_part{"columns of the type " + out.type.name, from.value("alias", ""), location(from)};
  } else if (kind == "BOUND_CONSTANT") {
    out = constant(from.at("value"));
  } else if (kind == "BOUND_COMPARISON") {
    out = made(comparison_of(from.at("type").get<std::string>()), "BOOLEAN", {});
    out.children.push_back(parsed(from.at("left")));
    out.children.push_back(parsed(from.at("right")));
  } else if (kind == "BOUND_BETWEEN") {
    const auto bound = [&](const char *end, operation open, operation closed) {
      expression compared = made(from.value(std::string(end) + "_inclusive", true) ? closed : open, "BOOLEAN", {});
      compared.children.push_back(parsed(from.at("input")));
      compared.children.push_back(parsed(from.at(end)));
      return compared;
    };
    out = made(operation::all_of, "BOOLEAN",
               {bound("lower", operation::greater, operation::greater_equal),
                bound("upper", operation::less, operation::less_equal)});
  } else if (kind == "BOUND_CONJUNCTION") {
    out = made(is_text(from.at("type"), "CONJUNCTION_AND") ? operation::all_of : operation::any_of, "BOOLEAN", {});
    for (const json &child : from.at("children"))
      add_flat(out, parsed(child));
  } else if (kind == "BOUND_CASE") {
    out = made(operation::case_when, "", {});
    for (const json &check : from.at("case_checks")) {
      out.children.push_back(parsed(check.at("when_expr")));
      out.children.push_back(parsed(check.at("then_expr")));
    }
    out.children.push_back(parsed(from.at("else_expr")));
    out.type = type(from.at("return_type"));
  } else if (kind == "BOUND_CAST") {
    out.what = operation::cast;
    out.type = type(from.at("return_type"));
    out.may_fail = from.value("try_cast", false);
    out.children.push_back(parsed(from.at("child")));
    fold(out);
  } else if (kind == "BOUND_OPERATOR") {
    out = parsed_operator(from);
  } else if (kind == "BOUND_FUNCTION") {
    out = parsed_function(from);
  } else {
    const std::string name = kind.starts_with("BOUND_") ? kind.substr(6) : kind;
    throw missing_part{"expressions of this kind", name, location(from)};
  }
  out.location = location(from);
  for (const expression &child : out.children)
    out.is_volatile = out.is_volatile || child.is_volatile;
  return out;
}

expression expression_reader::parsed_operator(const json &from) const {
  const std::string kind = from.at("type").get<std::string>();
  std::vector<expression> children;
  for (const json &child : from.at("children"))
    children.push_back(parsed(child));
  static constexpr std::array<std::pair<std::string_view, operation>, 5> known{{
      {"OPERATOR_NOT", operation::negation},
      {"OPERATOR_IS_NULL", operation::is_null},
      {"OPERATOR_IS_NOT_NULL", operation::is_not_null},
      {"COMPARE_IN", operation::in},
      {"COMPARE_NOT_IN", operation::not_in},
  }};
  if (children.empty())
    throw error("DuckDB's plan has an operator of nothing");
  for (const auto &[name, what] : known)
    if (name == kind)
      return made(what, "BOOLEAN", std::move(children));
  if (kind != "OPERATOR_COALESCE")
    throw missing_part{"operators of this kind", kind, location(from)};
  // The first value that is not NULL.
  expression out = made(operation::case_when, type(from.at("return_type")).name, {});
  for (size_t i = 0; i + 1 < children.size(); ++i) {
    out.children.push_back(made(operation::is_not_null, "BOOLEAN", {children[i]}));
    out.children.push_back(std::move(children[i]));
  }
  out.children.push_back(std::move(children.back()));
  return out;
}

expression expression_reader::parsed_function(const json &from) const {
  expression out;
  out.what = operation::function;
  out.name = from.at("name").get<std::string>();
  out.type = type(from.at("return_type"));
  out.is_volatile = !from.value("is_operator", false) && is_volatile_(out.name);
  if (const json &data = member(from, "function_data"); data.is_object() && data.contains("lambda_expr"))
    throw missing_part{"lambda functions", out.name, location(from)};
  for (const json &child : from.at("children"))
    out.children.push_back(parsed(child));
  return out;
}

// DuckDB does not fold a cast of a constant that depends on a setting such as the time zone.
void expression_reader::fold(expression &e) const {
  if (e.children[0].what != operation::constant || !e.type.held)
    return;
  logical::write_sql(e);
  if (std::optional<scalar> value = fold_(e)) {
    e.what = operation::constant;
    e.value = std::move(*value);
    e.children.clear();
  }
}

} // namespace store::sql
