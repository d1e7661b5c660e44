// Random conditions over random tables in all encodings, every row, and values of the selected ones, compared with
// DuckDB's answer.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/decode/projection.hpp"
#include "store/duckdb/connection.hpp"
#include "store/duckdb/reference.hpp"
#include "store/duckdb/table_file.hpp"
#include "store/query/condition.hpp"
#include "store/query/filter.hpp"
#include "store/vornq/measure.hpp"
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
    // Some 40 equal values follow each other.
    {"runs", "INTEGER",
     [last = uint64_t{0}](generator &random, bool c) mutable {
       if (c || below(random, 40) == 0)
         last = below(random, 50);
       return std::to_string(last);
     }},
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

std::string random_constant(generator &random, const column_maker &maker) {
  return duckdb::quoted_text(maker.draw(random, true));
}

// A condition of any form as a user may type it.
std::string random_condition(generator &random) {
  const column_maker &maker = makers[below(random, std::size(makers))];
  const std::string name = duckdb::quoted_name(maker.name);
  const auto constant = [&] { return random_constant(random, maker); };
  switch (below(random, 4)) {
  case 0:
    return fmt::format("{} between {} and {}", name, constant(), constant());
  case 1:
    return fmt::format("{} between {}{}, {}{}", name, below(random, 2) == 0 ? '(' : '[', constant(), constant(),
                       below(random, 2) == 0 ? ')' : ']');
  case 2: {
    std::string list = constant();
    for (uint64_t more = below(random, 5); more > 0; --more)
      list += ", " + constant();
    return fmt::format("{} in ({})", name, list);
  }
  default:
    constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">="};
    return fmt::format("{} {} {}", name, operators[below(random, 6)], constant());
  }
}

encoding_choice random_encoding(generator &random, const table_file::column_info &info, bool has_nulls) {
  const bool any = !has_nulls && info.traits->kind != value_kind::text;
  constexpr encoding forms[] = {encoding::dict, encoding::rle, encoding::fixed, encoding::dynp};
  return {forms[below(random, any ? 4 : 2)], below(random, 3) == 0};
}

selection expected_of(const reference &checker, const std::string &sql, uint64_t row_count) {
  selection out;
  out.resize(row_count);
  const std::vector<bool> rows = checker.rows(sql);
  EXPECT_EQ(rows.size(), row_count);
  for (uint64_t row = 0; row < rows.size(); ++row)
    if (rows[row]) {
      out.words[row / 64] |= uint64_t{1} << (row % 64);
      ++out.batch_counts[row / batch_rows];
      ++out.count;
    }
  return out;
}

TEST_P(query_test, selects_the_rows_that_duckdb_selects) {
  struct table {
    const char *file;
    uint64_t rows;
    uint64_t null_percent;
  };
  // The short tables have columns whose codes are 1 bit wide or all NULL, the long ones fill a batch or more.
  const table tables[] = {{"none.parquet", 0, 0},
                          {"one.parquet", 1, 0},
                          {"nulls.parquet", 65, 100},
                          {"short.parquet", 63, 30},
                          {"plain.csv", 3000, 0},
                          {"sparse.csv", 5000, 20},
                          {"batch.parquet", batch_rows, 0},
                          {"batches.parquet", batch_rows + 465, 5},
                          {"whole batches.parquet", 2 * batch_rows + 1, 0}};
  // 1,008 conditions or conjunctions.
  constexpr int loads = 4;
  constexpr int questions_per_load = 28;
  const vorn_test::scratch_folder folder;
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
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

    for (int load = 0; load < loads; ++load) {
      column_map columns;
      for (const std::string &name : names) {
        const auto &info = file.find(name);
        columns.emplace(name, file.load(info, random_encoding(random, info, t.null_percent != 0), [](uint64_t) {}));
      }
      // No condition can be put to a prefix, but its values can be had back on the rows of any.
      column_map prefixes;
      for (const auto &[name, c] : columns)
        if (t.null_percent == 0 && c.kind != value_kind::text)
          prefixes.emplace(name, file.load(file.find(name), {encoding::prefix, false}, [](uint64_t) {}));
      for (int i = 0; i < questions_per_load; ++i) {
        std::string asked = random_condition(random);
        for (uint64_t more = below(random, 3); more > 0; --more)
          asked += " and " + random_condition(random);
        const conjunction conditions = parse_conditions(asked);
        std::string sql;
        std::string stored;
        for (const condition &c : conditions) {
          const column &on = columns.at(c.column);
          sql += (sql.empty() ? "" : " AND ") + to_sql(c, on.kind);
          stored += fmt::format(" {}{}", encoding_name(on.form), on.compressed ? "+qpak" : "");
        }
        SCOPED_TRACE(fmt::format("{}: {} over{} (seed {})", t.file, asked, stored, seed));
        selection selected;
        query(conditions, columns).run(ctx, selected);
        const selection expected = expected_of(checker, sql, t.rows);
        ASSERT_EQ(selected.count, expected.count);
        ASSERT_EQ(selected.batch_counts, expected.batch_counts);
        ASSERT_EQ(selected.words, expected.words);

        std::vector<const column *> shown;
        for (const column_map *source : {&columns, &columns, &prefixes})
          if (!source->empty())
            shown.push_back(&std::next(source->begin(), static_cast<ptrdiff_t>(below(random, source->size())))->second);
        const projection had_back = project(ctx, shown, &selected, checker.values(shown, sql), 0);
        EXPECT_EQ(had_back.count, expected.count);
        EXPECT_TRUE(had_back.agree) << shown.front()->name << " to " << shown.back()->name;
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
  column_map columns;
  columns.emplace("n", loaded.load(loaded.find("n"), {}, [](uint64_t) {}));
  const std::string names[] = {"n"};
  const reference checker(db, other, names);
  EXPECT_TRUE(measure(library, columns, parse_conditions("n = 3"), checker, 1).agree);
  EXPECT_FALSE(measure(library, columns, parse_conditions("n = 2"), checker, 1).agree);
}

TEST(projection, notices_what_duckdb_has_otherwise) {
  const vorn_test::scratch_folder folder;
  duckdb::connection db;
  const kernels library("generic", "");
  // In a CSV file the empty text would be NULL.
  const std::string path = folder.path("loaded.parquet");
  db.query(fmt::format("COPY (SELECT * FROM (VALUES (1::BIGINT, 'a'), (NULL, ''), (3, 'c')) made(n, t)) TO {}",
                       duckdb::quoted_text(path)));
  const table_file loaded(db, path);
  column_map columns;
  std::vector<const column *> shown;
  for (const char *name : {"n", "t"})
    shown.push_back(&columns.emplace(name, loaded.load(loaded.find(name), {}, [](uint64_t) {})).first->second);
  const auto agrees = [&](const char *rows) {
    return project(library.chosen(), shown, nullptr, db.query(fmt::format("SELECT * FROM (VALUES {})", rows)), 0).agree;
  };
  EXPECT_TRUE(agrees("(1::BIGINT, 'a'), (NULL, ''), (3, 'c')"));
  EXPECT_FALSE(agrees("(1::BIGINT, 'a'), (NULL, ''), (4, 'c')"));
  EXPECT_FALSE(agrees("(1::BIGINT, 'a'), (NULL, ''), (3, 'd')"));
  EXPECT_FALSE(agrees("(1::BIGINT, 'a'), (NULL, NULL), (3, 'c')"));
  EXPECT_FALSE(agrees("(1::BIGINT, 'a'), (0, ''), (3, 'c')"));
  EXPECT_FALSE(agrees("(NULL, ''), (1::BIGINT, 'a'), (3, 'c')")) << "the order counts";
  EXPECT_FALSE(agrees("(1::BIGINT, 'a'), (NULL, '')"));
  EXPECT_FALSE(agrees("(1::BIGINT, 'a'), (NULL, ''), (3, 'c'), (5, 'e')"));
}

} // namespace
