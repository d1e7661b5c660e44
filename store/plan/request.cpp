#include "store/plan/request.hpp"

#include <algorithm>
#include <charconv>

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
  const std::string_view called = what == function::sum ? "sum" : "avg";
  if (op == '\0')
    return fmt::format("{}({})", called, left.text);
  return fmt::format("{}({} {} {})", called, left.text, op, right.text);
}

column_type asked_aggregate::type_of(const column_type &added) const {
  if (what == function::count)
    return {value_kind::integer, 8};
  if (what == function::average || op != '\0' || is_real(added))
    return {value_kind::real, 8};
  return {value_kind::wide, 16, added.scale};
}

column_type asked_aggregate::type(const column_names &names) const {
  return type_of(what == function::count || op != '\0' ? column_type() : *names.find(left.text).type);
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
  if (area)
    out.condition = where ? fmt::format("({}) AND {}", where->sql, area->sql()) : area->sql();
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
    const auto operand = [&](const asked_operand &o) {
      return fmt::format("{}::DOUBLE", o.constant ? duckdb::quoted_text(o.text) : duckdb::quoted_name(o.text));
    };
    const std::string added = a.op == '\0' ? duckdb::quoted_name(a.left.text)
                                           : fmt::format("({} {} {})", operand(a.left), a.op, operand(a.right));
    const std::string sum = fmt::format("sum({})", added);
    const bool of_reals = a.op != '\0' || is_real(*names.find(a.left.text).type);
    if (a.what == function::average)
      out.values.push_back(fmt::format("{}::DOUBLE / count({})", sum, added));
    else
      out.values.push_back(of_reals ? sum : fmt::format("{}::{}", sum, sql_type(a.type(names))));
    if (!is_real(a.type(names)))
      continue;
    // Each of n - 1 additions, in whatever order, is off by half a unit in the last place of 53 bits at the most; so
    // are a division and the conversion of a decimal number.  The sum of integers is exact before it becomes a double.
    const std::string error = of_reals ? fmt::format("2 * (count({0}) + 4) * sum(abs({0}::DOUBLE))", added)
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

std::string numeric_column(std::string_view text, const column_names &names) {
  const std::vector<std::string> columns = parse_columns(text, names);
  if (columns.size() != 1)
    throw error(fmt::format("numbers are those of one column, not of '{}'", shortened(text)));
  const column_info &info = names.find(columns.front());
  if (!info.type->is_numeric())
    throw error(
        fmt::format("column '{}' is of type {}, which has no numbers", shortened(info.name), shortened(info.sql_type)));
  return info.name;
}

namespace {

// An operator with blanks around it, outside of quotes; npos where there is none.
size_t operator_in(std::string_view text) {
  bool is_quoted = false;
  for (size_t at = 0; at < text.size(); ++at) {
    is_quoted = is_quoted != (text[at] == '"');
    const std::string_view three = text.substr(at, 3);
    if (!is_quoted && (three == " * " || three == " + " || three == " - "))
      return at + 1;
  }
  return text.npos;
}

asked_operand operand_of(std::string_view text, const column_names &names) {
  const size_t begin = std::min(text.find_first_not_of(' '), text.size());
  const std::string_view word = text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
  if (!is_number(word))
    return {numeric_column(text, names)};
  double number = 0;
  if (const auto [end, failure] = std::from_chars(word.data(), word.data() + word.size(), number);
      failure != std::errc() || end != word.data() + word.size())
    throw error(fmt::format("cannot read '{}' as a double", shortened(word)));
  return {std::string(word), number};
}

} // namespace

asked_aggregate parse_aggregate(function what, std::string_view text, const column_names &names) {
  const size_t at = operator_in(text);
  if (at == text.npos)
    return {what, {numeric_column(text, names)}};
  asked_aggregate out{what, operand_of(text.substr(0, at), names), text[at], operand_of(text.substr(at + 1), names)};
  if (out.columns().empty())
    throw error(fmt::format("there is no column in '{}'", shortened(text)));
  return out;
}

} // namespace store
