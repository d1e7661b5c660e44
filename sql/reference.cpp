#include "sql/reference.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sql/values.hpp"

namespace store {

namespace {

std::string where(const std::string &condition_sql) {
  return condition_sql.empty() ? "" : fmt::format(" WHERE ({})", condition_sql);
}

} // namespace

reference::reference(duckdb::connection &db, const table_file &file, std::span<const std::string> columns)
    : database_(db), first_("reference"), row_number_("rowid") {
  copy(first_, file, columns, "");
  use_threads(1);
}

reference::reference(duckdb::connection &db, const table_file &file)
    : database_(db), form_("file"), first_(file.sql()) {
  use_threads(1);
}

reference::reference(duckdb::connection &db, const joined &first, const joined &second)
    : database_(db), first_("reference"),
      joined_on_(
          fmt::format("reference.{} = joined.{}", duckdb::quoted_name(first.key), duckdb::quoted_name(second.key))),
      row_order_({"\"row of reference\"", "\"row of joined\""}) {
  copy("reference", first.file, first.columns, ", row_number() OVER () AS \"row of reference\"");
  copy("joined", second.file, second.columns, ", row_number() OVER () AS \"row of joined\"");
  use_threads(1);
}

void reference::copy(std::string_view table, const table_file &file, std::span<const std::string> columns,
                     std::string_view more) {
  std::vector<std::string> named;
  for (const std::string &column : columns)
    named.push_back(
        fmt::format("{} AS {}", duckdb::quoted_name(file.find(column).file_name()), duckdb::quoted_name(column)));
  database_.query(fmt::format("CREATE OR REPLACE TABLE {} AS SELECT {}{} FROM {}", table, fmt::join(named, ", "), more,
                              file.sql()));
}

reference reference::compressed() const {
  reference out(*this);
  out.form_ = "compressed table";
  out.database_name_ = "compressed.";
  database_.query("ATTACH IF NOT EXISTS ':memory:' AS compressed (COMPRESS)");
  database_.query("CREATE OR REPLACE TABLE compressed.reference AS FROM reference");
  if (!joined_on_.empty())
    database_.query("CREATE OR REPLACE TABLE compressed.joined AS FROM joined");
  // A table in memory stays uncompressed until a checkpoint.
  database_.query("CHECKPOINT compressed");
  return out;
}

std::string reference::source() const {
  const std::string first = database_name_ + first_;
  return joined_on_.empty() ? first : fmt::format("{} JOIN {}joined ON ({})", first, database_name_, joined_on_);
}

void reference::use_threads(size_t threads) const { database_.query(fmt::format("SET threads TO {}", threads)); }

duckdb::statement reference::counting(const std::string &condition_sql) const {
  return database_.prepare(fmt::format("SELECT count(*) FROM {}{}", source(), where(condition_sql)));
}

uint64_t reference::count(duckdb::statement &query) {
  return static_cast<uint64_t>(query.run().next()->column(0).number<int64_t>(0));
}

duckdb::result reference::values(std::span<const column *const> columns, const std::string &condition_sql) const {
  sql_select query{{}, condition_sql, false, {}, {}, {}};
  for (const column *c : columns)
    query.values.push_back(sql_values(c->name, c->type));
  return answer(query);
}

std::string reference::sql_of(const sql_select &query) const {
  std::string out = fmt::format("SELECT {} FROM {}{}", fmt::join(query.values, ", "), source(), where(query.condition));
  std::vector<std::string> order = query.order;
  if (!query.groups.empty())
    out += fmt::format(" GROUP BY {}", fmt::join(query.groups, ", "));
  if (!query.is_grouped) {
    order.insert(order.end(), row_order_.begin(), row_order_.end());
    if (!query.order.empty() && !row_number_.empty())
      order.push_back(row_number_);
  }
  if (!order.empty())
    out += fmt::format(" ORDER BY {}", fmt::join(order, ", "));
  if (query.limit)
    out += fmt::format(" LIMIT {}", *query.limit);
  return out;
}

duckdb::statement reference::prepared(const sql_select &query) const { return database_.prepare(sql_of(query)); }

duckdb::result reference::answer(const sql_select &query) const {
  // A scan keeps the order of rows.  A long list after IN would become a join, which need not keep it.
  database_.query("SET disabled_optimizers = 'in_clause'");
  return database_.stream(sql_of(query));
}

uint64_t reference::count_rows(duckdb::statement &query) {
  uint64_t rows = 0;
  duckdb::result answer = query.run();
  while (const auto chunk = answer.next())
    rows += chunk->rows();
  return rows;
}

std::vector<bool> reference::rows(const std::string &condition_sql) const {
  auto answers = database_.query(fmt::format("SELECT coalesce({}, false)::BIGINT FROM {}", condition_sql, source()));
  std::vector<bool> out;
  while (auto chunk = answers.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row)
      out.push_back(chunk->column(0).number<int64_t>(row) != 0);
  return out;
}

} // namespace store
