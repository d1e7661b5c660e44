// Random conditions over random tables in all encodings, every row, and values of the selected ones, compared with
// DuckDB's answer.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/condition.hpp"
#include "sql/connection.hpp"
#include "sql/reference.hpp"
#include "sql/table_file.hpp"
#include "sql/verify_rows.hpp"
#include "store/query/filter.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"
#include "vornq/measure.hpp"

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
    // 256 values: the code after the last code does not fit.
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
     [](generator &random, bool c) {
       return fmt::format("{}{}", static_cast<double>(below(random, 100)) / 10, c && below(random, 5) == 0 ? "e0" : "");
     }},
    {"price", "DECIMAL(7,2)",
     [](generator &random, bool c) {
       return fmt::format("{}.{}", static_cast<int64_t>(below(random, 60)) - 30, below(random, c ? 999 : 99));
     }},
    {"huge", "DECIMAL(30,3)",
     [](generator &random, bool) {
       return fmt::format("{}{:011}.{}", below(random, 3), below(random, 9), below(random, 9));
     }},
    {"natural", "UBIGINT",
     [](generator &random, bool) { return std::to_string(below(random, 2) == 0 ? below(random, 100) : random()); }},
    {"clock", "TIME",
     [](generator &random, bool) { return fmt::format("{:02}:{:02}:00.5", below(random, 24), below(random, 3)); }},
    {"instant", "TIMESTAMPTZ",
     [](generator &random, bool) {
       return fmt::format("2001-01-{:02} 0{}:00:00+0{}", 1 + below(random, 28), below(random, 9), below(random, 9));
     }},
    {"id", "UUID",
     [](generator &random, bool) {
       return fmt::format("{:08x}-0000-0000-8000-00000000000{}", below(random, 16) << 28, below(random, 2));
     }},
    {"bytes", "BLOB", [](generator &random, bool) { return fmt::format("a\\x0{}", below(random, 9)); }},
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

// In quotes, or a number without them.
std::string random_constant(generator &random, const column_maker &maker) {
  const std::string drawn = maker.draw(random, true);
  if (!type_of(maker.sql_type)->is_numeric() || !is_number(drawn) || below(random, 2) == 0)
    return duckdb::quoted_text(drawn);
  // Between the values of whole numbers too.
  return below(random, 4) == 0 && drawn.find_first_of(".e") == drawn.npos ? drawn + ".5" : drawn;
}

// A condition of any form as a user may type it.
std::string random_condition(generator &random) {
  const column_maker &maker = makers[below(random, std::size(makers))];
  const std::string name = duckdb::quoted_name(maker.name);
  const auto constant = [&] { return random_constant(random, maker); };
  const char *negated = below(random, 3) == 0 ? "not " : "";
  switch (below(random, 7)) {
  case 0:
    return fmt::format("{} {}between {} and {}", name, negated, constant(), constant());
  case 1:
    return fmt::format("{} {}between {}{}, {}{}", name, negated, below(random, 2) == 0 ? '(' : '[', constant(),
                       constant(), below(random, 2) == 0 ? ')' : ']');
  case 2: {
    std::string list = below(random, 10) == 0 ? "null" : constant();
    for (uint64_t more = below(random, 5); more > 0; --more)
      list += ", " + constant();
    return fmt::format("{} {}in ({})", name, negated, list);
  }
  case 3: {
    static constexpr const char *patterns[] = {"a%", "%",          "_",  "%b%a", "B_%", "longer%",
                                               "a",  "%\xc3\xa9%", "__", "%'%_", ""};
    if (std::string_view(maker.name) != "text")
      return fmt::format("{} is {}null", name, negated);
    return fmt::format("{} {}like {}", name, negated,
                       duckdb::quoted_text(patterns[below(random, std::size(patterns))]));
  }
  default:
    constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">=", "!="};
    return fmt::format("{} {} {}", name, operators[below(random, std::size(operators))],
                       below(random, 30) == 0 ? "null" : constant());
  }
}

std::string random_expression(generator &random, uint32_t depth) {
  std::string out;
  for (uint64_t more = below(random, 3);; --more) {
    const bool nested = depth != 0 && below(random, 4) == 0;
    out += below(random, 6) == 0 ? "not " : "";
    out += nested ? fmt::format("({})", random_expression(random, depth - 1)) : random_condition(random);
    if (more == 0)
      return out;
    out += below(random, 3) == 0 ? " or " : " and ";
  }
}

encoding_choice random_encoding(generator &random, const column_info &info, bool has_nulls) {
  const bool any = !has_nulls && !info.type->is_bytes() && !info.type->is_wide();
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

TEST(query, selects_the_rows_that_duckdb_selects) {
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
                          {"plain.csv", 500, 0},
                          {"sparse.csv", 700, 20},
                          {"batch.parquet", batch_rows, 0},
                          {"batches.parquet", batch_rows + 465, 5},
                          {"whole batches.parquet", 2 * batch_rows + 1, 0}};
  // 1,008 conditions where there are 4 loads.
  constexpr int questions_per_load = 28;
  const vorn_test::scratch_folder folder;
  // The environment owns what is decompressed, so it is one for all implementations.
  vorn_host::environment env;
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

    for (int load = 0; load < QUERY_LOADS; ++load) {
      column_map columns;
      for (const std::string &name : names) {
        const auto &info = file.find(name);
        columns.emplace(name, file.load(info, random_encoding(random, info, t.null_percent != 0), [](uint64_t) {}));
      }
      // No condition can be put to a prefix, but its values can be decoded on the rows of any.
      column_map prefixes;
      for (const auto &[name, c] : columns)
        if (t.null_percent == 0 && !c.type.is_bytes() && !c.type.is_wide())
          prefixes.emplace(name, file.load(file.find(name), {encoding::prefix, false}, [](uint64_t) {}));
      for (int i = 0; i < questions_per_load; ++i) {
        const std::string text = random_expression(random, 2);
        SCOPED_TRACE(fmt::format("{}: {} (seed {})", t.file, text, seed));
        const condition asked = parse_condition(text, file.columns());
        std::string stored;
        for (const std::string &name : asked.columns)
          stored +=
              fmt::format(" {}{}", encoding_name(columns.at(name).form), columns.at(name).compressed ? "+qpak" : "");
        SCOPED_TRACE("over" + stored);
        const selection expected = expected_of(checker, asked.sql, t.rows);
        const query bound(asked, columns);
        std::vector<const column *> shown;
        for (const column_map *source : {&columns, &columns, &prefixes})
          if (!source->empty())
            shown.push_back(&std::next(source->begin(), static_cast<ptrdiff_t>(below(random, source->size())))->second);
        // DuckDB's values take long, so that one implementation of each question is held against them.
        const auto projecting = static_cast<uint64_t>(i) % std::size(vorn_test::implementations);
        for (uint64_t which = 0; which < std::size(vorn_test::implementations); ++which) {
          const auto &implementation = vorn_test::implementations[which];
          if (!vorn_test::runs_here(implementation))
            continue;
          ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(implementation, env));
          SCOPED_TRACE(implementation.name);
          selection selected;
          bound.run(ctx, selected);
          ASSERT_EQ(selected.count, expected.count);
          ASSERT_EQ(selected.batch_counts, expected.batch_counts);
          ASSERT_EQ(selected.words, expected.words);
          if (which != projecting)
            continue;
          const verification decoded_rows =
              verify_rows(ctx, shown, &selected, checker.values(shown, asked.sql), 0, [](row_block) {});
          EXPECT_EQ(decoded_rows.count, expected.count);
          EXPECT_TRUE(decoded_rows.agree) << shown.front()->name << " to " << shown.back()->name;
        }
      }
    }
  }
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

TEST(measure, notices_when_duckdb_counts_otherwise) {
  const vorn_test::scratch_folder folder;
  duckdb::connection db;
  const table_file loaded(db, folder.write("loaded.csv", "n\n1\n2\n3\n"));
  const table_file other(db, folder.write("other.csv", "n\n1\n1\n3\n"));
  kernels library("generic", "");
  column_map columns;
  columns.emplace("n", loaded.load(loaded.find("n"), {}, [](uint64_t) {}));
  const std::string names[] = {"n"};
  const reference checker(db, other, names);
  worker_pool threads(2);
  EXPECT_TRUE(measure({library, threads, checker}, columns, parse_condition("n = 3", loaded.columns())).agree);
  EXPECT_FALSE(measure({library, threads, checker}, columns, parse_condition("n = 2", loaded.columns())).agree);
}

TEST(verify_rows, notices_what_duckdb_has_otherwise) {
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
    return verify_rows(library.chosen(), shown, nullptr, db.query(fmt::format("SELECT * FROM (VALUES {})", rows)), 0,
                       [](row_block) {})
        .agree;
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
