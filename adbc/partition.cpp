#include "adbc/partition.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adbc/failure.hpp"
#include "sql/plan_json.hpp"
#include "store/error.hpp"

namespace store::adbc {

namespace {

using logical::plan_kind;
using nlohmann::json;

constexpr int format_version = 2;

std::string_view name_of(plan_kind what) {
  switch (what) {
  case plan_kind::values:
    return "a query without a table";
  case plan_kind::join:
  case plan_kind::cross_product:
    return "a join";
  case plan_kind::aggregate:
    return "an aggregate";
  case plan_kind::distinct:
    return "DISTINCT";
  case plan_kind::order:
    return "ORDER BY";
  case plan_kind::limit:
    return "LIMIT";
  case plan_kind::union_all:
    return "UNION";
  default:
    return "a common part";
  }
}

template <class Plan>
Plan &scan_of(Plan &root) {
  Plan *at = &root;
  while (at->what == plan_kind::filter || at->what == plan_kind::projection)
    at = &at->children.front();
  if (at->what != plan_kind::scan)
    throw not_implemented(
        fmt::format("not partitioned: {}; a partition holds rows of one table, with conditions and expressions",
                    name_of(at->what)));
  return *at;
}

} // namespace

std::vector<std::string> partitions_of(database &of, const std::string &text, const logical::query &planned,
                                       size_t row_groups) {
  const std::string &table = scan_of(planned.root).table;
  const std::shared_ptr<exec::table> found = of.tables().find(table);
  json described = {
      {"vorn_partition", format_version}, {"query", text}, {"plan", sql::plan_text(planned)}, {"table", table}};
  if (of.tables().source_of(table) == nullptr)
    described["database"] = of.identity();
  std::vector<std::string> out;
  const auto add = [&](uint64_t rows) {
    described["rows"] = rows;
    const uint64_t groups = (rows + row_group_rows - 1) / row_group_rows;
    for (uint64_t first = 0; first < groups; first += row_groups) {
      described["first"] = first;
      described["end"] = std::min<uint64_t>(first + row_groups, groups);
      out.push_back(described.dump(-1, ' ', false, json::error_handler_t::replace));
    }
  };
  const std::vector<std::filesystem::path> files = of.tables().saved_files_of(table);
  if (files.size() < 2) {
    add(found->rows());
    return out;
  }
  for (const std::filesystem::path &file : files) {
    described["file"] = file.string();
    add(of.tables().find(file.string())->rows());
  }
  return out;
}

partition read_partition(std::span<const uint8_t> bytes) {
  const json described = json::parse(bytes.begin(), bytes.end(), nullptr, false);
  try {
    if (described.at("vorn_partition") != format_version)
      throw invalid_argument("the partition is of another version of the driver");
    return {described.at("query"),
            sql::read_plan_text(described.at("plan").get_ref<const std::string &>()),
            described.at("table"),
            described.value("file", ""),
            described.value("database", ""),
            described.at("rows"),
            {described.at("first"), described.at("end")}};
  } catch (const error &e) {
    throw invalid_argument(e.what());
  } catch (const json::exception &) {
    throw invalid_argument("the bytes are no partition of this driver");
  }
}

planned_query planned(const partition &part, database &of) {
  if (!part.database.empty() && part.database != of.identity())
    throw not_found(
        fmt::format("the table '{}' of the partition is in the memory of another database; save it in a file "
                    "to read it elsewhere",
                    shortened(part.table)));
  planned_query out{part.plan, part.row_groups};
  logical::plan &scan = scan_of(out.query.root);
  if (scan.table != part.table)
    throw invalid_argument("the partition contradicts itself");
  if (!part.file.empty())
    scan.table = part.file;
  if (of.tables().find(scan.table)->rows() != part.rows)
    throw invalid_state(fmt::format("the table '{}' has changed since it was partitioned", shortened(scan.table)));
  return out;
}

} // namespace store::adbc
