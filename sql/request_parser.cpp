// How orders and aggregates are written.
#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "sql/request.hpp"
#include "store/error.hpp"

namespace store {

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
