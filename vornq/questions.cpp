#include "vornq/questions.hpp"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/error.hpp"

namespace store {

namespace {

void add_names(std::vector<std::string> &names, const std::vector<std::string> &more) {
  for (const std::string &name : more)
    if (std::find(names.begin(), names.end(), name) == names.end())
      names.push_back(name);
}

request read_request(const options &chosen, const questions &asked, const column_names &names) {
  request out;
  out.is_grouped = chosen.asks_for_groups();
  if (asked.conditions.size() > 1)
    throw error(fmt::format("{} of one --where; {} are given",
                            out.is_grouped ? "groups are made" : "--select shows the rows", asked.conditions.size()));
  if (!asked.conditions.empty())
    out.set_where(asked.conditions.front());
  const auto &columns = out.is_grouped ? chosen.group_columns : chosen.selected_columns;
  if (columns)
    out.columns = parse_columns(*columns, names);
  for (const auto &[what, column] : chosen.aggregates)
    out.aggregates.push_back(what == function::count ? asked_aggregate() : parse_aggregate(what, column, names));
  if (chosen.order)
    out.order = parse_order(*chosen.order, out, names);
  out.limit = chosen.limit;
  return out;
}

// The vertices in a file of two columns, which are named as those of the tables that hold the points of rows.
polygon read_polygon(duckdb::connection &db, const std::filesystem::path &path, const tables &from) {
  const table_file file(db, path);
  if (file.columns().size() != 2)
    throw error(fmt::format("{} has {} columns; the points of a polygon have two", shortened(path.string()),
                            file.columns().size()));
  const std::string &first = file.columns()[0].name;
  const std::string &second = file.columns()[1].name;
  polygon out{numeric_column(first, from.names()), numeric_column(second, from.names()), {}, {}};
  if (from.is_of_second(out.x_column) != from.is_of_second(out.y_column))
    throw error(fmt::format("'{}' and '{}' are columns of two tables", shortened(first), shortened(second)));
  duckdb::result points = db.query(fmt::format("SELECT {}::DOUBLE, {}::DOUBLE FROM {}", duckdb::quoted_name(first),
                                               duckdb::quoted_name(second), file.sql()));
  while (const auto chunk = points.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      if (chunk->column(0).is_null(row) || chunk->column(1).is_null(row))
        throw error(fmt::format("a point in {} lacks a coordinate", shortened(path.string())));
      out.xs.push_back(chunk->column(0).number<double>(row));
      out.ys.push_back(chunk->column(1).number<double>(row));
    }
  if (out.xs.size() < 3)
    throw error(fmt::format("{} has fewer points than a polygon", shortened(path.string())));
  return out;
}

} // namespace

questions read_questions(duckdb::connection &db, const options &chosen, const tables &from) {
  questions out;
  for (const std::string &text : chosen.encodings) {
    const auto [name, form] = parse_assignment(text);
    const encoding_choice choice = parse_encoding(form);
    const column_info &info = from.names().find(name);
    from.check_encoding(info, choice);
    out.choices[info.name] = choice;
  }
  for (const std::string &text : chosen.conditions) {
    out.conditions.push_back(parse_condition(text, from.names()));
    add_names(out.columns, out.conditions.back().columns);
  }
  for (const std::string &name : out.columns)
    if (const auto choice = out.choices.find(name); choice != out.choices.end())
      check_searchable(name, *choice->second.form);
  if (chosen.selected_columns || chosen.asks_for_groups())
    out.shown = read_request(chosen, out, from.names());
  if (chosen.polygon_file)
    out.shown->area = read_polygon(db, *chosen.polygon_file, from);
  if (from.are_joined())
    add_names(out.columns, {from.keys().first, from.keys().second});
  if (out.shown)
    add_names(out.columns, out.shown->all_columns());
  // Even to count all rows takes a column.
  if (out.shown && out.columns.empty())
    out.columns = {from.names().any().name};
  return out;
}

std::string described(const request &asked, const options &chosen) {
  std::vector<std::string> shown;
  for (const asked_aggregate &a : asked.aggregates)
    shown.push_back(a.name());
  std::string out = shown.empty() ? "groups" : fmt::format("{}", fmt::join(shown, ", "));
  if (chosen.group_columns)
    out += " by " + *chosen.group_columns;
  if (!chosen.conditions.empty())
    out += " where " + chosen.conditions.front();
  if (chosen.polygon_file)
    out += " inside " + *chosen.polygon_file;
  return out;
}

} // namespace store
