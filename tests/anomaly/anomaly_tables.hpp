// What anomalies meet: tables in every form, queries for every operator, and files that are written.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/operator/answer.hpp"
#include "store/saved/save.hpp"
#include "store/saved/saved_table.hpp"
#include "tests/anomaly/failures.hpp"
#include "tests/sql/engines.hpp"
#include "tests/sql/query_tables.hpp"
#include "tests/store/scratch_folder.hpp"
#include "vornq/output_file.hpp"
#include "vornq/row_writer.hpp"
#include <vorn/encode.h>

namespace vorn_test {

// One query for each operator, and for each kind of table of groups and of joins.
inline constexpr const char *anomaly_queries[] = {
    "SELECT i, t, d FROM one WHERE n > 3 AND upper(t) LIKE 'A%' ORDER BY i",
    "SELECT i, n * small, price / 3 FROM one WHERE price < d ORDER BY d, i LIMIT 50",
    "SELECT t, runs, count(*), sum(n), avg(n), min(key), count(DISTINCT key) FROM one GROUP BY ALL ORDER BY ALL",
    "SELECT i, k, u FROM one LEFT JOIN other ON key = k ORDER BY i, k, u",
    "SELECT i, code, sum(big) FROM one GROUP BY i, code ORDER BY i, code",
    "SELECT huge, id, raw, max(moment), bool_or(flag) FROM one GROUP BY ALL ORDER BY ALL",
    "SELECT one.i, w FROM one JOIN other ON one.huge = other.huge AND one.n > other.n WHERE i < 900 ORDER BY i, w",
    "SELECT i FROM one WHERE key IN (SELECT k FROM other) AND NOT EXISTS (FROM other WHERE k=key AND u=1) ORDER BY i",
    "SELECT a.i, b.i FROM one a JOIN one b ON a.i = b.i + 7 WHERE a.n = 5 ORDER BY ALL",
    "SELECT o.k, p.u FROM other o, other p WHERE o.w < p.w AND o.n > 3 ORDER BY ALL",
    "WITH g AS MATERIALIZED (SELECT t, count(*) AS c FROM one GROUP BY t) FROM g UNION ALL FROM g ORDER BY t, c",
    "SELECT DISTINCT key, flag FROM one ORDER BY key, flag",
    "SELECT t, day FROM one ORDER BY t DESC NULLS LAST, day, i LIMIT 3 OFFSET 40",
    "SELECT * FROM (VALUES (1, 'a'), (2, NULL)) v(x, y) ORDER BY x"};

// All that a column is made of, as a number.
inline std::string digest_of(const store::column &of) {
  uint64_t out = of.rows;
  const auto add = [&](const void *bytes, size_t count) { out = out * 31 + vornenc_hash(bytes, count, 0); };
  for (const store::column_segment &rows : of.segments) {
    add(rows.stream.data(), rows.stored_bytes());
    if (rows.length_bytes() != 0)
      add(rows.lens.data(), rows.length_bytes());
  }
  if (const auto *entries = std::get_if<store::dictionary>(&of.values))
    add(entries->stored().symbols.data(), entries->stored().symbols.size());
  return fmt::format("{} {:x} ", of.name, out);
}

class anomaly_tables {
public:
  anomaly_tables() {
    ctx.vorn_ctx_decompress = vorn_qpak_decode;
    put_in_force(implementations[0], both.env);
    answer_ = rows_of(both.plan("SELECT i, t, d, day, odd FROM one WHERE i < 500 ORDER BY i"), 1);
    std::filesystem::create_directory(folder.path("out"));
    new_table_ = content_after([&] { saved(); }, "t.vorn");
    for (const char *name : {"x.csv", "x.json", "x.arrow", "x.parquet"})
      new_files_[name] = content_after([&] { written(name); }, name);
  }
  anomaly_tables(const anomaly_tables &) = delete;
  ~anomaly_tables() { vorn_global_ctx = initial_global_ctx; }

  std::vector<const store::column *> columns_of(const std::string &table) {
    std::vector<const store::column *> out;
    store::exec::table &of = *both.tables.find(table);
    for (size_t c = 0; c < of.columns().size(); ++c)
      out.push_back(&of.at(c));
    return out;
  }

  store::exec::answer rows_of(const store::logical::query &planned, uint32_t threads) {
    const auto rows = store::exec::build(
        planned.root, [&](const store::logical::plan &scan) { return both.tables.find(scan.table); }, functions_);
    store::worker_pool pool(threads);
    std::vector<store::exec::arena> memory(threads);
    const std::atomic<bool> is_interrupted = false;
    store::exec::kept_rows kept = store::exec::all_rows(*rows, {ctx, pool, is_interrupted, memory});
    return {planned.names, store::exec::plain_layouts(rows->columns()), std::move(kept)};
  }
  std::string answered(const store::logical::query &planned, uint32_t threads) {
    const store::exec::answer rows = rows_of(planned, threads);
    const failing::pause of_failures;
    std::string out;
    store::write_rows(rows, store::row_format::json, 0, [&](std::string_view text) { out += text; });
    return out;
  }

  // Loads a table that nobody has loaded before, and gives what its columns are made of.
  std::string loaded(const char *file) {
    store::sql::catalogue fresh(ctx, stored.encodings);
    return digest_of_all(*fresh.find(folder.path(file)));
  }

  // Saves a table, over another file.
  std::string saved() {
    store::exec::table &of = *both.tables.find("one");
    std::vector<store::saved_column> columns;
    for (size_t c = 0; c < of.columns().size(); ++c)
      columns.push_back({of.columns()[c].name, of.columns()[c].sql_type, of.at(c)});
    return fmt::format("{} bytes", store::save(folder.path("out/t.vorn"), columns));
  }
  std::string opened() const {
    const store::saved_table of(ctx, std::filesystem::path(folder.path("out/t.vorn")));
    std::string out;
    for (const store::column_info &info : of.columns())
      out += digest_of(of.load(info, {}, [](uint64_t) {}));
    of.require_unchanged();
    return out;
  }
  std::string written(const std::string &name) {
    store::write_file(folder.path("out/" + name), *answer_);
    return "written";
  }

  // The file is the old one or the new one, and there is nothing beside it.
  void judge_saved() { judge("t.vorn", new_table_); }
  void judge_written(const std::string &name) { judge(name, new_files_.at(name)); }
  const std::string &new_table() const { return new_table_; }

  static constexpr const char *old = "what was there before";
  const table_storage stored = table_storages()[1];
  struct folder_of_tables : scratch_folder {
    explicit folder_of_tables(const table_storage &of) { write_tables(*this, of); }
  };
  const folder_of_tables folder{stored};
  engines both{folder.path(), stored.encodings};
  vorn_ctx ctx = both.env.context();

private:
  static std::string digest_of_all(store::exec::table &of) {
    std::string out;
    for (size_t c = 0; c < of.columns().size(); ++c)
      out += digest_of(of.at(c));
    return out;
  }
  std::string content_after(const std::function<void()> &write, const std::string &name) {
    write();
    std::string out = folder.read("out/" + name);
    folder.write("out/" + name, old);
    return out;
  }
  void judge(const std::string &name, const std::string &new_content) {
    const std::string found = folder.read("out/" + name);
    EXPECT_TRUE(found == old || found == new_content) << name << " is half written";
    for (const auto &file : std::filesystem::directory_iterator(folder.path("out")))
      EXPECT_NE(file.path().filename().string().front(), '.') << file.path() << " is left";
    folder.write("out/" + name, old);
  }

  store::sql::duckdb_functions functions_{ctx};
  std::optional<store::exec::answer> answer_;
  std::string new_table_;
  std::map<std::string, std::string> new_files_;
};

} // namespace vorn_test
