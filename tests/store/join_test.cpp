// Joins of small tables against a nested loop and DuckDB, with and without bloom map and partitions, in every layout,
// and with hardly any room, so that every step of the library stops and goes on.
#include <gtest/gtest.h>

#include <initializer_list>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/condition.hpp"
#include "sql/verify_rows.hpp"
#include "store/join/join_query.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"
#include "vornq/tables.hpp"

namespace {

using namespace store;
using generator = std::mt19937;
constexpr uint32_t seed = 20240611;
uint64_t below(generator &random, uint64_t limit) { return random() % limit; }

// Keys of the two tables, made of a number r that differs from row to row.
struct key_maker {
  const char *first = nullptr;
  const char *second = nullptr;
  bool is_stored_itself = false; // in some loads
  uint64_t many_rows = 4;        // of the second table, beside a first one of more than a batch
};
constexpr key_maker makers[] = {
    {"CASE WHEN r % 5 = 0 THEN NULL WHEN r % 5 = 1 THEN '' ELSE 'k' || (r % 23) END",
     "CASE WHEN r % 4 = 0 THEN NULL WHEN r % 9 = 1 THEN '' ELSE 'k' || (r % 31) END"},
    {"repeat('long', 500 + (r % 3)::INT) || (r % 90)", "repeat('long', 500 + (r % 4)::INT) || (r % 80)"},
    {"'one'", "'one'"},
    {"NULL::INTEGER", "(r % 3)::INTEGER"},
    {"((r % 50)::INT - 25)::SMALLINT", "(r % 60)::BIGINT - 30", true},
    {"7", "7::TINYINT", true},
    {"DATE '2000-01-01' + (r % 4000)::INT", "DATE '2000-01-01' + (r % 4000)::INT", true},
    {"['-0', '0', 'nan', 'inf', '1.5'][(r % 5)::INT + 1]::DOUBLE",
     "['0', '-0', 'nan', '2', '1.5'][(r % 5)::INT + 1]::DOUBLE", true},
    {"(r % 30)::HUGEINT << 80", "(r % 40)::HUGEINT << 80"},
    {"i * 3", "i * 2", false, 30'000}, // enough rows to meet equal tags of other keys
    {"(r % 300)::DECIMAL(9, 2)", "(r % 400)::DECIMAL(18, 2)", true},
};

constexpr const char *conditions[] = {
    "a >= 0",
    "b < 30 and one.x = 3",
    "one.x = 1 or other.x = 2",
    "not (one.x > 4 and other.x < 5)",
    "a < 200 and not (one.x in (1, NULL) or t = '') and (b < 40 or not a between 3 and 9)",
    "one.x is null and t is null or (t like 'v%' or a = 1) and not (b = 2 or a = 2)",
};

constexpr const char *table_sql = // its key, more columns, a salt, rows and file
    "COPY (SELECT {} AS k, {}, nullif(r % 7, 0) AS x FROM (SELECT i, hash(i + {}) // 64 AS r FROM range({}) made(i))) "
    "TO '{}'";

using row_pairs = std::vector<std::pair<uint64_t, uint64_t>>;
row_pairs nested_loop(const vorn_ctx &ctx, const column &first, const column &second) {
  std::vector<cell> keys[2];
  for (const column *c : {&first, &second}) {
    row_reader reader(ctx, *c, nullptr);
    for (std::span<const cell> some; !(some = reader.next()).empty();)
      for (const cell &key : some) // a real one is -0, the key of which is -1, or 0
        keys[c == &second].push_back(c->type.kind == value_kind::real && key == cell(int64_t{-1}) ? int64_t{0} : key);
  }
  row_pairs out;
  for (uint64_t left = 0; left < keys[0].size(); ++left)
    for (uint64_t right = 0; right < keys[1].size(); ++right)
      if (keys[0][left] == keys[1][right] && keys[0][left] != cell())
        out.emplace_back(left, right);
  return out;
}

join_settings random_settings(generator &random) {
  constexpr std::optional<bool> blooms[] = {{}, true, false};
  constexpr std::optional<uint32_t> partition_bits[] = {{}, 0, 2, 4};
  constexpr uint32_t layouts[] = {VORN_HT_K2V4, VORN_HT_K2V8, VORN_HT_K4V4, VORN_HT_K4V8};
  join_settings out{blooms[below(random, 3)], partition_bits[below(random, 4)], layouts[below(random, 4)]};
  return below(random, 2) == 0 ? out : join_settings{out.bloom, out.partition_bits, out.layout, 1, 2, 1, 8, 40};
}

TEST(join, gives_the_rows_of_a_nested_loop_and_of_duckdb) {
  const vorn_test::scratch_folder folder;
  const std::filesystem::path first = folder.path("one.parquet");
  const std::string second = folder.path("other.parquet");
  vorn_host::environment env;
  const vorn_ctx ctx = env.context();
  generator random(seed);
  uint64_t false_candidates = 0;
  for (const key_maker &maker : makers)
    for (const auto &[rows, other_rows] : std::initializer_list<std::pair<uint64_t, uint64_t>>{
             {0, 5}, {5, 0}, {60, 300}, {300, 60}, {batch_rows + 700, maker.many_rows}}) {
      const auto &implementation = vorn_test::implementations[below(random, std::size(vorn_test::implementations))];
      if (!vorn_test::runs_here(implementation))
        continue;
      ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(implementation, env));
      duckdb::connection db;
      db.query(fmt::format(table_sql, maker.first, "i AS a", random(), rows, first.string()));
      db.query(fmt::format(table_sql, maker.second, "i AS b, ['v', '', NULL][(r % 3)::INT + 1] AS t", random(),
                           other_rows, second));
      tables from(ctx, db, std::span(&first, 1), second + ":k=k");
      choice_map choices;
      constexpr encoding forms[] = {encoding::dict, encoding::rle, encoding::fixed, encoding::dynp, encoding::prefix};
      for (const char *key : {"one.k", "other.k"})
        choices[key] = {forms[below(random, maker.is_stored_itself && rows < 1000 ? 5 : 2)], false};
      const std::vector<std::string> names = {"one.k", "a", "one.x", "other.k", "b", "t", "other.x"};
      from.load(names, names, choices);
      const reference checker = from.made_reference(db, names, true);
      std::vector<const column *> shown;
      for (const output_column &c : from.outputs(names))
        shown.push_back(c.of);
      for (const char *text : conditions) {
        SCOPED_TRACE(fmt::format("{} = {}, {} x {} rows, {}, {} (seed {})", maker.first, maker.second, rows, other_rows,
                                 text, implementation.name, seed));
        const condition asked = parse_condition(text, from.names());
        const join_settings settings = text == conditions[0] ? join_settings{false} : random_settings(random);
        const join_query query = from.query_for(&asked);
        const auto rows_of_join = query.run(ctx, from.outputs(names), settings);
        ASSERT_TRUE(verify_rows(*rows_of_join, headings_of(shown), checker.values(shown, asked.sql), 0, [](row_block) {
                    }).agree);
        const join_statistics did = rows_of_join->statistics();
        false_candidates += did.candidates - did.confirmed;
        EXPECT_EQ(did.map_bytes != 0, settings.bloom.value_or(did.probed_rows > did.built_rows));
        if (text != conditions[0] || rows * other_rows > 1'000'000)
          continue;
        const join_query all = from.query_for(nullptr);
        const auto joined = all.run(ctx, {}, random_settings(random));
        row_pairs found;
        while (joined->next() != 0)
          for (const joined_row &row : joined->joined())
            found.emplace_back(row.first, row.second);
        ASSERT_EQ(found, nested_loop(ctx, from.at("one.k"), from.at("other.k")));
      }
    }
  EXPECT_GT(false_candidates, 0U) << "no candidate had to be dropped";
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

} // namespace
