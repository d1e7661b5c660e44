// Tables by their names and files, and DuckDB's own answers on them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/catalogue.hpp"
#include "sql/duckdb_engine.hpp"
#include "sql/planner.hpp"
#include "store/error.hpp"
#include "store/saved/save.hpp"
#include "tests/store/scratch_folder.hpp"

namespace vorn_test {

namespace {

using namespace store;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

class catalogue_test : public testing::Test {
protected:
  void copy(const std::string &query, const std::string &file, const std::string &options = "") {
    database_.query(fmt::format("COPY ({}) TO '{}'{}", query, folder_.path(file), options));
  }
  std::string path(const std::string &file) const { return folder_.path(file); }

  // All rows of DuckDB's answer, with "|" between the values.
  std::vector<std::string> answer(const std::string &query, sql::duckdb_engine::storage form) {
    sql::duckdb_engine engine(tables_, form, 1);
    std::vector<std::string> names;
    sql::duckdb_answer rows = engine.run(query);
    std::vector<std::string> out;
    std::vector<exec::vector> columns;
    exec::arena memory;
    while (const uint32_t count = rows.next(memory, columns))
      for (uint32_t row = 0; row < count; ++row) {
        std::string line;
        for (const exec::vector &column : columns)
          line += (line.empty() ? "" : "|") + (column.is_null(row) ? "NULL"
                                               : column.form == exec::representation::text
                                                   ? std::string(column.texts()[row])
                                                   : std::to_string(column.int64s()[row]));
        out.push_back(line);
      }
    EXPECT_EQ(engine.count_rows(query), out.size());
    return out;
  }

  scratch_folder folder_;
  duckdb::connection database_{1};
  vorn_ctx library_{};
  sql::catalogue tables_{library_, {{"b", {encoding::fixed}}}};
};

TEST_F(catalogue_test, files_of_every_kind) {
  const std::string rows = "SELECT i AS a, i * 2 AS b, 'x' || i AS c FROM range(5) t(i)";
  copy(rows, "one.parquet");
  copy(rows, "two.csv");
  copy(rows, "three.tsv", " (DELIMITER '\t')");
  copy(rows, "four.csv.gz");
  copy("SELECT i + 5 AS a, i AS b, 'y' AS c FROM range(3) t(i)", "more-1.csv");
  copy(rows, "more-2.csv");
  folder_.write("notes.txt", "no table");
  tables_.add_folder(path(""));
  EXPECT_THAT(tables_.names(), ElementsAre("four", "more-1", "more-2", "one", "three", "two"));
  for (const std::string &name : {std::string("One"), std::string("two"), std::string("three"), std::string("four"),
                                  path("one.parquet"), path("four.csv.gz"), path("more-*.csv")}) {
    SCOPED_TRACE(name);
    exec::table &table = *tables_.find(name);
    const bool are_two = name.ends_with("*.csv");
    EXPECT_EQ(table.rows(), are_two ? 8 : 5);
    ASSERT_EQ(table.columns().size(), 3);
    EXPECT_EQ(table.columns()[2].sql_type, "VARCHAR");
    EXPECT_EQ(table.at(0).rows, table.rows());
    EXPECT_EQ(table.at(1).form, encoding::fixed);
    EXPECT_EQ(std::get<dictionary>(table.at(2).values).codes(), are_two ? 6 : 5);
    EXPECT_EQ(&table, tables_.find(name).get());
  }
}

TEST_F(catalogue_test, saved_tables_as_one) {
  copy(
      "SELECT CASE WHEN i % 3 > 0 THEN i END AS a, 'x' || i % 7 AS s, i / 4 AS d, (i * 1e20)::HUGEINT AS h, i::UBIGINT "
      "AS u, i % 2 = 0 AS bo, DATE '2000-01-01' + i::INTEGER AS dt, md5(i::VARCHAR)::UUID AS id, i::DECIMAL(30,2) AS "
      "de "
      "FROM range(9000) t(i)",
      "all.parquet");
  const std::shared_ptr<exec::table> all = tables_.find(path("all.parquet"));
  for (const char *part : {"part-1.vorn", "part-2.vorn"}) {
    std::vector<saved_column> columns;
    for (size_t i = 0; i < all->columns().size(); ++i)
      columns.push_back({all->columns()[i].name, all->columns()[i].sql_type, all->at(i)});
    save(path(part), columns);
  }
  const std::string query = "SELECT count(*)::VARCHAR, t::VARCHAR FROM {} t GROUP BY t ORDER BY t";
  EXPECT_EQ(answer(fmt::format(fmt::runtime(query), fmt::format("'{}'", path("part-*.vorn"))),
                   sql::duckdb_engine::storage::plain),
            answer(fmt::format(fmt::runtime(query),
                               fmt::format("(SELECT * FROM '{0}' UNION ALL SELECT * FROM '{0}')", path("all.parquet"))),
                   sql::duckdb_engine::storage::plain));
}

TEST_F(catalogue_test, messages) {
  copy("SELECT [1] AS list, 2 AS b", "one.parquet");
  folder_.write("one.csv", "a\n1\n");
  EXPECT_THAT([&] { tables_.find(path("one.parquet"))->at(0); },
              ThrowsMessage<error>("column 'list' has the type INTEGER[], which is not stored"));
  EXPECT_THAT([&] { tables_.find("none"); }, ThrowsMessage<error>("no such table: none"));
  EXPECT_THAT([&] { tables_.find(path("*.tsv")); }, ThrowsMessage<error>(HasSubstr("no such file: ")));
  EXPECT_THAT([&] { tables_.add_folder(path("")); }, ThrowsMessage<error>(HasSubstr("two tables have the name one: ")));
  EXPECT_THAT([&] { tables_.add_folder(path("none")); }, ThrowsMessage<error>(HasSubstr("no such folder: ")));
}

TEST_F(catalogue_test, progress) {
  copy("SELECT i AS a FROM range(100000) t(i)", "one.parquet");
  sql::load_progress last;
  tables_.on_progress([&](const sql::load_progress &at) { last = at; });
  tables_.find(path("one.parquet"))->at(0);
  EXPECT_EQ(last.column, "a");
  EXPECT_EQ(last.rows, 100000);
  EXPECT_EQ(last.of, 100000);
}

// Whatever DuckDB keeps the tables in, and also those that it has only from us.
TEST_F(catalogue_test, answers_of_duckdb) {
  copy("SELECT CASE WHEN i % 3 > 0 THEN i END AS a, i * 2 AS b, 'x' || i % 9 AS c, [i] AS list FROM range(70000) t(i)",
       "one.parquet");
  copy("SELECT i AS a, 'text' AS d FROM range(9) t(i)", "two.csv");
  tables_.add_folder(path(""));
  const std::shared_ptr<exec::table> one = tables_.find("one");
  tables_.add(std::make_shared<exec::table>(
      "ours", std::vector(one->columns().begin(), one->columns().begin() + 3), one->rows(),
      [one](size_t index) { return std::shared_ptr<const column>(one, &one->at(index)); }));
  const std::string query = "SELECT c, count(a), max(b), {} FROM {} JOIN two USING (a) GROUP BY c ORDER BY c LIMIT 3";
  const std::vector<std::string> expected = {"x1|1|2|[1]", "x2|1|4|[2]", "x4|1|8|[4]"};
  using enum sql::duckdb_engine::storage;
  // Bytes of which DuckDB finds none by the Bloom filter of a Parquet file.
  copy("SELECT encode('\u00e9' || (i % 200)) AS b FROM range(5000) t(i)", "blobs.parquet");
  EXPECT_THAT(
      answer(fmt::format("SELECT count(*) FROM '{}' WHERE b = encode('\u00e9' || 7)", path("blobs.parquet")), files),
      ElementsAre("25"));
  for (const auto form : {files, plain, compressed})
    for (const auto &[table, list] : {std::pair("one", "max(list)"), std::pair("ours", "[max(a)]")})
      EXPECT_EQ(answer(fmt::format(fmt::runtime(query), list, table), form), expected)
          << sql::duckdb_engine::name_of(form) << table;
  const std::string all = "SELECT count(*), count(a), sum(a)::BIGINT, sum(b)::BIGINT, min(c) FROM ";
  EXPECT_EQ(answer(all + "ours", plain), answer(all + "one", files));
}

} // namespace

} // namespace vorn_test
