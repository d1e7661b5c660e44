#include "sql/table_statistics.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "sql/catalogue.hpp"
#include "sql/scalar_json.hpp"
#include "sql/table_file.hpp"
#include "store/error.hpp"

namespace store::sql {

namespace {

using nlohmann::json;

// Of a column whose streams are not needed.
void add_column(table_statistics &to, const store::column &from) {
  to.distinct.emplace_back(from.most_distinct());
  for (size_t group = 0; group < from.segments.size(); ++group) {
    const zone &held = from.segments[group].held;
    table_statistics::zone out{held.nulls, {}, {}};
    const bool is_known = !std::holds_alternative<std::monostate>(from.values);
    if (is_known && held.has_values()) {
      out.low = scalar_of(from.value_of(held.low), from.type);
      out.high = scalar_of(from.value_of(held.high), from.type);
    }
    to.row_groups[group].columns.push_back(std::move(out));
  }
}

} // namespace

logical::scalar scalar_of(const cell &value, const column_type &type) {
  if (const auto *key = std::get_if<int64_t>(&value)) {
    if (type.is_real())
      return real_of_key(*key);
    return type.kind == value_kind::natural ? static_cast<__int128>(natural_of_key(*key)) : __int128{*key};
  }
  if (const auto *wide = std::get_if<wide_key>(&value))
    return number_of(*wide);
  if (const auto *text = std::get_if<std::string_view>(&value))
    return std::string(*text);
  return {};
}

table_statistics statistics_of(catalogue &tables, const std::string &name) {
  const std::shared_ptr<exec::table> table = tables.find(name);
  const std::shared_ptr<const table_source> source = tables.source_of(name);
  table_statistics out;
  out.rows = table->rows();
  out.columns = table->columns();
  if (const auto *file = dynamic_cast<const table_file *>(source.get()); file != nullptr && file->is_parquet()) {
    file->add_statistics(out);
    return out;
  }
  for (uint64_t first = 0; first < out.rows; first += row_group_rows)
    out.row_groups.push_back({std::min<uint64_t>(row_group_rows, out.rows - first), {}});
  for (size_t c = 0; c < out.columns.size(); ++c) {
    const column_info &info = out.columns[c];
    if (!info.type) {
      out.distinct.emplace_back();
      for (table_statistics::row_group &group : out.row_groups)
        group.columns.emplace_back();
    } else if (const auto described = source ? source->described(info) : std::nullopt) {
      add_column(out, *described);
    } else {
      add_column(out, table->at(c));
    }
  }
  return out;
}

std::string statistics_text(const table_statistics &of) {
  json out = {{"rows", of.rows}, {"columns", json::array()}, {"row_groups", json::array()}};
  const auto put = [](json &to, const char *member, auto known) {
    if (known)
      to[member] = *known;
  };
  for (size_t c = 0; c < of.columns.size(); ++c) {
    json &column = out["columns"].emplace_back(json{{"name", of.columns[c].name}, {"type", of.columns[c].sql_type}});
    put(column, "distinct", of.distinct[c]);
  }
  for (const table_statistics::row_group &group : of.row_groups) {
    json &rows = out["row_groups"].emplace_back(json{{"rows", group.rows}, {"columns", json::array()}});
    for (const table_statistics::zone &zone : group.columns) {
      json &column = rows["columns"].emplace_back(json::object());
      put(column, "nulls", zone.nulls);
      for (const auto &[member, value] : {std::pair("min", &zone.low), std::pair("max", &zone.high)})
        if (!std::holds_alternative<std::monostate>(*value))
          column[member] = scalar_json(*value);
    }
  }
  return out.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::shared_ptr<exec::table> described_table(const std::string &name, std::string_view text) {
  try {
    const json described = json::parse(text);
    std::vector<column_info> columns;
    std::vector<uint64_t> distinct;
    for (const json &column : described.at("columns")) {
      const auto type = column.at("type").get<std::string>();
      columns.push_back({column.at("name").get<std::string>(), type, type_of(type)});
      distinct.push_back(column.value("distinct", uint64_t{0}));
    }
    return std::make_shared<exec::table>(name, std::move(columns), described.at("rows").get<uint64_t>(),
                                         std::move(distinct));
  } catch (const json::exception &e) {
    throw error(fmt::format("not the statistics of a table: {}", e.what()));
  }
}

} // namespace store::sql
