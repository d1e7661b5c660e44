#include "sql/table_file.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sql/own_query.hpp"
#include "sql/values.hpp"
#include "sql/vectors.hpp"
#include "store/chunk/stored_values.hpp"
#include "store/encode/column_builder.hpp"
#include "store/error.hpp"

namespace store {

namespace {

// The name of a file in a scan.  Characters that a scan reads as a pattern are escaped.
std::string literal_name(const std::filesystem::path &path) {
  std::string out;
  for (char c : path.string())
    if (std::string_view("*?[").find(c) != std::string_view::npos)
      out += fmt::format("[{}]", c);
    else
      out += c;
  return duckdb::quoted_text(out);
}

std::string list_of(std::span<const std::filesystem::path> paths) {
  std::vector<std::string> names;
  for (const std::filesystem::path &path : paths)
    names.push_back(literal_name(path));
  return fmt::format("[{}]", fmt::join(names, ", "));
}

enum class file_kind { parquet, text, other };

file_kind kind_of(const std::filesystem::path &path) {
  const std::string name = path.filename().string();
  const auto has_ending = [&](std::string_view ending) { return name.ends_with(ending); };
  if (has_ending(".parquet"))
    return file_kind::parquet;
  static constexpr std::string_view text_endings[] = {".csv", ".tsv", ".csv.gz", ".tsv.gz"};
  return std::any_of(std::begin(text_endings), std::end(text_endings), has_ending) ? file_kind::text : file_kind::other;
}

std::string scan_of(std::span<const std::filesystem::path> paths) {
  const file_kind kind = kind_of(paths.front());
  for (const std::filesystem::path &path : paths) {
    if (!std::filesystem::exists(path))
      throw error(fmt::format("no such file: {}", shortened(path.string())));
    if (!std::filesystem::is_regular_file(path)) // opening a pipe would wait
      throw error(fmt::format("not a file: {}", shortened(path.string())));
    if (kind_of(path) == file_kind::other)
      throw error(fmt::format("neither a .parquet nor a .csv file: {}", shortened(path.string())));
    if (kind_of(path) != kind)
      throw error("the files are not of one kind");
  }
  // Folders with names such as a=1 add no columns.
  const std::string list = fmt::format("{}, hive_partitioning = false", list_of(paths));
  if (kind == file_kind::parquet)
    return fmt::format("read_parquet({})", list);
  // The types of a CSV file follow from all of its rows, so no row can contradict them.
  return fmt::format("read_csv({}, sample_size = -1)", list);
}

std::vector<column_info> columns_of(duckdb::connection &db, const std::string &scan) {
  std::vector<column_info> out;
  const std::string described = fmt::format("SELECT column_name, column_type FROM (DESCRIBE FROM {})", scan);
  auto description = duckdb::own_query([&] { return db.query(described); });
  while (auto chunk = description.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      const auto sql_type = chunk->column(1).text(row);
      out.push_back({std::string(chunk->column(0).text(row)), std::string(sql_type), type_of(sql_type)});
    }
  return out;
}

} // namespace

bool is_table_file(const std::filesystem::path &path) { return kind_of(path) != file_kind::other; }

table_file::table_file(duckdb::connection &db, std::span<const std::filesystem::path> paths)
    : database_(db), scan_(scan_of(paths)), files_(paths.begin(), paths.end()), opened_(stamps()) {
  stem = paths.front().stem().string();
  infos = columns_of(db, scan_of(paths.first(1)));
  for (const std::filesystem::path &path : paths.subspan(1)) {
    const auto others = columns_of(db, scan_of(std::span(&path, 1)));
    const bool same =
        std::equal(infos.begin(), infos.end(), others.begin(), others.end(),
                   [](const auto &a, const auto &b) { return a.name == b.name && a.sql_type == b.sql_type; });
    if (!same)
      throw error(fmt::format("the columns of {} are not those of {}", shortened(path.string()),
                              shortened(paths.front().string())));
  }
  if (kind_of(paths.front()) == file_kind::parquet)
    statistics_ = fmt::format("parquet_metadata({})", list_of(paths));
  count_rows();
}

table_file::table_file(duckdb::connection &db, const std::filesystem::path &path, size_t first_row_group,
                       size_t end_row_group)
    : database_(db), files_{path}, opened_(stamps()) {
  stem = path.stem().string();
  infos = columns_of(db, scan_of(files_));
  const std::string sum = "SELECT coalesce(sum(rows), 0)::BIGINT FROM (SELECT DISTINCT row_group_id AS id, "
                          "row_group_num_rows AS rows FROM parquet_metadata({})) WHERE id {}";
  const auto rows_of = [&](const std::string &which) {
    auto found = db.query(fmt::format(fmt::runtime(sum), list_of(files_), which));
    return found.next()->column(0).number<int64_t>(0);
  };
  const int64_t first = rows_of(fmt::format("< {}", first_row_group));
  row_count = static_cast<uint64_t>(
      rows_of(fmt::format(">= {} AND id < {}", first_row_group, std::max(first_row_group, end_row_group))));
  // DuckDB reads no other row groups for a condition on the row number.
  scan_ = fmt::format("(SELECT * EXCLUDE (file_row_number) FROM read_parquet({}, hive_partitioning = false, "
                      "file_row_number = true) WHERE file_row_number >= {} AND file_row_number < {})",
                      list_of(files_), first, first + static_cast<int64_t>(row_count));
}

table_file::table_file(duckdb::connection &db, const std::string &call) : database_(db), scan_(call) {
  stem = call;
  infos = columns_of(db, scan_);
  count_rows();
}

std::vector<saved::file_stamp> table_file::stamps() const {
  std::vector<saved::file_stamp> out;
  for (const std::filesystem::path &file : files_)
    out.push_back(saved::file_stamp::of(file));
  return out;
}

void table_file::count_rows() {
  row_count = static_cast<uint64_t>(
      database_.query(fmt::format("SELECT count(*) FROM {}", scan_)).next()->column(0).number<int64_t>(0));
}

std::optional<uint64_t> table_file::compressed_bytes(const std::vector<std::string> &names) const {
  if (statistics_.empty())
    return std::nullopt;
  std::vector<std::string> texts;
  texts.reserve(names.size());
  for (const std::string &name : names)
    texts.push_back(duckdb::quoted_text(find(name).name));
  const auto sum = database_
                       .query(fmt::format("SELECT coalesce(sum(total_compressed_size), 0)::BIGINT FROM {} WHERE "
                                          "path_in_schema IN ({})",
                                          statistics_, fmt::join(texts, ", ")))
                       .next();
  return static_cast<uint64_t>(sum->column(0).number<int64_t>(0));
}

void table_file::add_statistics(sql::table_statistics &to) const {
  constexpr const char *chunks = "vorn_column_chunks";
  database_.query(fmt::format("CREATE OR REPLACE TEMP TABLE {} AS SELECT path_in_schema AS name, file_name, "
                              "row_group_id, row_group_num_rows::BIGINT AS rows, stats_null_count::BIGINT AS nulls, "
                              "coalesce(stats_min_value, stats_min) AS low, coalesce(stats_max_value, stats_max) AS "
                              "high FROM {}",
                              chunks, statistics_));
  for (const column_info &info : infos) {
    const bool is_bounded = info.type && !info.type->is_real() && info.type->kind != value_kind::blob &&
                            info.type->kind != value_kind::uuid;
    const auto bound = [&](std::string_view which) {
      return is_bounded ? fmt::format("TRY_CAST(TRY_CAST({} AS {}) AS {})", which, info.sql_type, sql_type(*info.type))
                        : "NULL";
    };
    duckdb::result found = database_.query(
        fmt::format("SELECT rows, nulls, {}, {} FROM {} WHERE name = {} ORDER BY file_name, row_group_id", bound("low"),
                    bound("high"), chunks, duckdb::quoted_text(info.name)));
    size_t group = 0;
    while (const auto chunk = found.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row, ++group) {
        if (group == to.row_groups.size())
          to.row_groups.push_back({static_cast<uint64_t>(chunk->column(0).number<int64_t>(row)), {}});
        sql::table_statistics::zone zone;
        if (!chunk->column(1).is_null(row))
          zone.nulls = static_cast<uint64_t>(chunk->column(1).number<int64_t>(row));
        if (is_bounded) {
          zone.low = sql::scalar_of(value_at(chunk->column(2), row, info.type->kind), *info.type);
          zone.high = sql::scalar_of(value_at(chunk->column(3), row, info.type->kind), *info.type);
        }
        to.row_groups[group].columns.push_back(std::move(zone));
      }
    to.distinct.push_back(distinct_integers(to));
    for (sql::table_statistics::row_group &rows : to.row_groups) // a nested column has other names in the files
      rows.columns.resize(to.distinct.size());
  }
  database_.query(fmt::format("DROP TABLE {}", chunks));
  estimate_distinct(to);
}

std::optional<uint64_t> table_file::distinct_integers(const sql::table_statistics &known) {
  std::optional<__int128> low;
  std::optional<__int128> high;
  for (const sql::table_statistics::row_group &group : known.row_groups) {
    const sql::table_statistics::zone &zone = group.columns.back();
    const auto *first = std::get_if<__int128>(&zone.low);
    const auto *last = std::get_if<__int128>(&zone.high);
    if (first != nullptr && last != nullptr) {
      low = std::min(low.value_or(*first), *first);
      high = std::max(high.value_or(*last), *last);
    }
  }
  if (!low || known.rows == 0)
    return std::nullopt;
  return 1 + static_cast<uint64_t>(
                 std::min<unsigned __int128>(known.rows - 1, static_cast<unsigned __int128>(*high - *low)));
}

void table_file::estimate_distinct(sql::table_statistics &to) const {
  std::vector<size_t> asked;
  std::vector<std::string> names;
  std::vector<std::string> counts;
  for (size_t c = 0; c < infos.size(); ++c)
    if (!to.distinct[c] && infos[c].type) {
      asked.push_back(c);
      names.push_back(duckdb::quoted_name(infos[c].name));
      counts.push_back(fmt::format("approx_count_distinct({})", names.back()));
    }
  if (asked.empty())
    return;
  constexpr uint64_t sample_rows = 32768;
  const auto found = database_
                         .query(fmt::format("SELECT count(*), {} FROM (SELECT {} FROM {} LIMIT {})",
                                            fmt::join(counts, ", "), fmt::join(names, ", "), scan_, sample_rows))
                         .next();
  const auto rows = static_cast<uint64_t>(found->column(0).number<int64_t>(0));
  for (size_t i = 0; i < asked.size(); ++i) {
    const auto distinct = std::min(rows, static_cast<uint64_t>(found->column(i + 1).number<int64_t>(0)));
    constexpr uint64_t few = 10; // values repeat so often that later rows have hardly others
    to.distinct[asked[i]] = distinct * few <= rows ? distinct : distinct * (to.rows / rows);
  }
}

void table_file::check_encoding(const column_info &info, const encoding_choice &choice) const {
  store::check_encoding(info, choice);
}

column table_file::load(const column_info &info, const encoding_choice &choice,
                        const std::function<void(uint64_t)> &progress) const {
  column_builder building(info, choice);
  const logical::sql_type type(info.sql_type);
  auto rows = database_.stream(fmt::format("SELECT {} FROM {}", duckdb::quoted_name(info.name), scan_));
  uint64_t done = 0;
  exec::arena memory;
  while (auto chunk = rows.next()) {
    const auto count = static_cast<uint32_t>(chunk->rows());
    const exec::vector values = sql::from_duckdb(chunk->column(0), type, count, memory, sql::text_bytes::referred_to);
    exec::append(building, values, *type.held);
    progress(done += count);
    memory.rewind({});
  }
  // DuckDB opens the files again for each column.
  if (const std::vector<saved::file_stamp> now = stamps(); now != opened_)
    for (size_t i = 0; i < now.size(); ++i)
      if (now[i] != opened_[i])
        throw error(fmt::format("{} has changed while it was read", shortened(files_[i].string())));
  return building.finish();
}

} // namespace store
