// Random conditions over random tables, every row compared with DuckDB's answer.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/condition.hpp"
#include "store/duckdb.hpp"
#include "store/filter.hpp"
#include "store/measure.hpp"
#include "store/reference.hpp"
#include "store/table_file.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace store;
using generator = std::mt19937_64;

constexpr uint64_t seed = 9;

uint64_t below(generator &random, uint64_t bound) { return random() % bound; }

// A column of the random tables: its type, and values of it as conditions write them.  Constants are drawn from the
// same values and a few more, so that some are missing from the column.
struct column_maker {
  const char *name;
  const char *sql_type;
  std::function<std::string(generator &, bool as_constant)> draw;
};

std::string text(generator &random, bool as_constant) {
  // Beyond 12 bytes DuckDB keeps texts elsewhere; bytes above 0x7f must sort as unsigned.
  static const std::string pieces[] = {"a", "B", "'", "\"", ",", " b", "\xc3\xa9", "", "longer than twelve bytes"};
  std::string out;
  for (uint64_t n = below(random, 4); n > 0; --n)
    out += pieces[below(random, std::size(pieces))];
  return as_constant && below(random, 4) == 0 ? out + "~" : out;
}

const column_maker makers[] = {
    // 256 values: the code behind the last one does not fit.
    {"full width", "SMALLINT", [](generator &random, bool c) { return std::to_string(below(random, c ? 300 : 256)); }},
    {"single", "UTINYINT", [](generator &random, bool c) { return std::to_string(c ? below(random, 3) : 1); }},
    {"small", "INTEGER",
     [](generator &random, bool) { return std::to_string(static_cast<int64_t>(below(random, 2000)) - 1000); }},
    {"wide", "BIGINT", [](generator &random, bool) { return std::to_string(static_cast<int64_t>(random())); }},
    {"real", "DOUBLE",
     [](generator &random, bool c) -> std::string {
       static const char *special[] = {"nan", "inf", "-inf", "0", "-0.0", "1e300", "5e-324"};
       if (below(random, 10) == 0)
         return special[below(random, std::size(special))];
       return fmt::format("{}", (static_cast<double>(below(random, 4000)) - 2000) / (c ? 16 : 8));
     }},
    {"single real", "FLOAT",
     [](generator &random, bool) { return fmt::format("{}", static_cast<double>(below(random, 100)) / 10); }},
    {"flag", "BOOLEAN",
     [](generator &random, bool) -> std::string { return below(random, 2) == 0 ? "true" : "false"; }},
    {"day", "DATE",
     [](generator &random, bool) {
       return fmt::format("{}-{:02}-{:02}", 1960 + below(random, 20), 1 + below(random, 12), 1 + below(random, 28));
     }},
    {"moment", "TIMESTAMP",
     [](generator &random, bool c) {
       auto day = fmt::format("{}-0{}-{:02}", 1969 + below(random, 2), 1 + below(random, 9), 1 + below(random, 28));
       if (c && below(random, 3) == 0)
         return day;
       return fmt::format("{} {:02}:{:02}:{:02}.{}", day, below(random, 24), below(random, 60), below(random, 60),
                          below(random, 1000));
     }},
    {"text", "VARCHAR", text},
};

// A field of a CSV file, always in quotes: what stands without them is NULL.
std::string csv_field(std::string_view text) {
  std::string out = "\"";
  for (char c : text)
    out += c == '"' ? "\"\"" : std::string(1, c);
  return out + "\"";
}

// Fills a table of the makers' types with random values and NULLs, and writes it to a Parquet or CSV file.
void write_table(duckdb::connection &db, generator &random, uint64_t rows, uint64_t null_percent,
                 const vorn_test::scratch_folder &folder, const std::string &path) {
  std::string columns;
  for (const column_maker &maker : makers)
    columns += fmt::format("{} {}, ", duckdb::quoted_name(maker.name), maker.sql_type);
  db.query(fmt::format("CREATE TABLE made ({})", columns));
  std::string lines;
  for (uint64_t row = 0; row < rows; ++row) {
    const char *separator = "";
    for (const column_maker &maker : makers) {
      lines += separator;
      lines += below(random, 100) < null_percent ? "NULL" : csv_field(maker.draw(random, false));
      separator = ",";
    }
    lines += '\n';
  }
  db.query(fmt::format("COPY made FROM {} (AUTO_DETECT false, DELIMITER ',', QUOTE '\"', ESCAPE '\"', "
                       "NULLSTR 'NULL', ALLOW_QUOTED_NULLS false)",
                       duckdb::quoted_text(folder.write("made.csv", lines))));
  db.query(fmt::format("COPY made TO {}", duckdb::quoted_text(path)));
}

using query_test = vorn_test::implementation_test;
VORN_TEST_ALL_IMPLEMENTATIONS(query_test);

TEST_P(query_test, selects_the_rows_that_duckdb_selects) {
  struct table {
    const char *file;
    uint64_t rows;
    uint64_t null_percent;
  };
  // 65536 rows are a batch; the short tables have columns whose codes are 1 bit wide or all NULL.
  const table tables[] = {{"none.parquet", 0, 0},      {"one.parquet", 1, 0},        {"nulls.parquet", 65, 100},
                          {"short.parquet", 63, 30},   {"plain.csv", 3000, 0},       {"sparse.csv", 5000, 20},
                          {"batch.parquet", 65536, 0}, {"batches.parquet", 66001, 5}};
  constexpr int conditions_per_column = 8;
  const vorn_test::scratch_folder folder;
  const vorn_ctx ctx = env.context();
  generator random(seed);
  for (const table &t : tables) {
    duckdb::connection db;
    write_table(db, random, t.rows, t.null_percent, folder, folder.path(t.file));
    const table_file file(db, folder.path(t.file));
    ASSERT_EQ(file.rows(), t.rows);
    std::vector<std::string> names;
    for (const column_maker &maker : makers)
      names.emplace_back(maker.name);
    const reference checker(db, file, names);

    for (const column_maker &maker : makers) {
      const column on = file.load(file.find(maker.name), [](uint64_t) {});
      for (int i = 0; i < conditions_per_column; ++i) {
        constexpr comparison operators[] = {comparison::eq, comparison::ne, comparison::lt,
                                            comparison::le, comparison::gt, comparison::ge};
        const condition c{maker.name, operators[below(random, 6)], maker.draw(random, true)};
        const std::string sql = to_sql(c, on.kind);
        SCOPED_TRACE(fmt::format("{}: {} (seed {})", t.file, sql, seed));
        selection selected;
        filter(ctx, on, to_codes(c, on), selected);

        selection expected;
        expected.words.resize((t.rows + 63) / 64);
        const std::vector<bool> rows = checker.rows(sql);
        ASSERT_EQ(rows.size(), t.rows);
        for (uint64_t row = 0; row < t.rows; ++row) {
          expected.words[row / 64] |= uint64_t{rows[row]} << (row % 64);
          expected.count += rows[row];
        }
        ASSERT_EQ(selected.count, expected.count);
        ASSERT_EQ(selected.words, expected.words);
      }
    }
  }
}

TEST(measure, notices_when_duckdb_counts_otherwise) {
  const vorn_test::scratch_folder folder;
  duckdb::connection db;
  const table_file loaded(db, folder.write("loaded.csv", "n\n1\n2\n3\n"));
  const table_file other(db, folder.write("other.csv", "n\n1\n1\n3\n"));
  const kernels library("generic", "");
  const column on = loaded.load(loaded.find("n"), [](uint64_t) {});
  const std::string columns[] = {"n"};
  const reference checker(db, other, columns);
  EXPECT_TRUE(measure(library, on, parse_condition("n = 3"), checker).agree);
  EXPECT_FALSE(measure(library, on, parse_condition("n = 2"), checker).agree);
}

} // namespace
