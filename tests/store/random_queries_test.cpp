// Random queries of random tables: conditions, joins, orders, groups and sums over every kind of value in every
// encoding.  The generic kernels answer as DuckDB does, and the best ones as the generic ones, to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/decode/projection.hpp"
#include "store/error.hpp"
#include "store/plan/kept_rows.hpp"
#include "store/plan/plan.hpp"
#include "store/vornq/tables.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace store;

// 2,000 queries; a fifth of them with the sanitizers, which take longer by that.
constexpr uint32_t databases = 40;
#ifdef __SANITIZE_ADDRESS__
constexpr uint32_t queries = 10; // of a database
#else
constexpr uint32_t queries = 50;
#endif

// What the environment says: another seed, or one query alone.
uint32_t chosen(const char *variable, uint32_t otherwise) {
  const char *text = std::getenv(variable);
  return text == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}

class dice {
public:
  dice(uint32_t database, uint32_t query) {
    std::seed_seq seeds{chosen("VORN_SEED", 11), database, query};
    random.seed(seeds);
  }
  uint64_t below(uint64_t bound) { return random() % bound; }
  bool one_in(uint64_t n) { return below(n) == 0; }
  template <class Collection>
  const auto &of(const Collection &choices) {
    return *std::next(std::begin(choices), static_cast<std::ptrdiff_t>(below(std::size(choices))));
  }

private:
  std::mt19937_64 random;
};

// Values of a number without a sign, as SQL makes them.
struct value_maker {
  const char *name;
  const char *sql;
};
constexpr value_maker makers[] = {
    {"flag", "{0} % 2 = 0"},
    {"tiny", "(({0} % 256)::INT - 128)::TINYINT"},
    {"integer", "({0} % 100000)::INT - 50000"},
    {"big", "(CASE {0} % 11 WHEN 0 THEN 9223372036854775807 WHEN 1 THEN -9223372036854775808 "
            "ELSE {0}::HUGEINT - 99 END)::BIGINT"},
    {"natural", "(CASE {0} % 11 WHEN 0 THEN 18446744073709551615 WHEN 1 THEN 0 ELSE {0} END)::UBIGINT"},
    {"huge", "(({0} % 1000)::HUGEINT - 500) * 100000000000000000000000000000"},
    {"price", "((({0} % 5000)::INT - 2500) / 100)::DECIMAL(9, 2)"},
    {"money", "(({0} % 70000) || '000000000000.125')::DECIMAL(30, 3)"},
    {"single", "((({0} % 640)::INT - 320) / 10)::FLOAT"},
    {"real", "(CASE WHEN {0} % 20 < 7 THEN ['-0', '0', 'nan', 'inf', '-inf', '1e100', '5e-324'][({0} % 20)::INT + 1] "
             "ELSE (({0} % 3000)::INT / 7 - 200)::VARCHAR END)::DOUBLE"},
    {"day", "DATE '1970-01-01' + ({0} % 9000)::INT - 4500"},
    {"clock", "TIME '00:00:00' + to_microseconds(({0} % 86399000000)::BIGINT)"},
    {"moment", "TIMESTAMP '1969-12-31' + to_microseconds(({0} % 864000000000)::BIGINT)"},
    {"nano", "make_timestamp_ns(({0} % 86400000000000)::BIGINT)"},
    {"instant", "(TIMESTAMP '1969-12-31' + to_microseconds(({0} % 864000000000)::BIGINT))::TIMESTAMPTZ"},
    {"id", "md5({0}::VARCHAR)::UUID"},
    {"bytes", "encode(CASE {0} % 9 WHEN 0 THEN '' ELSE 'b' || ({0} % 5000) END)"},
    {"text", "['', 'a', '\xC3\xA9' || {0}, 'longer than twelve bytes ' || {0}, 'a' || ({0} % 50)][({0} % 5)::INT + 1]"},
    {"code", "lpad(({0} % 9000)::VARCHAR, 6, '0')"}, // of one length
};

struct made_column {
  std::string name;
  std::string kind;
  std::string sql;
  bool has_nulls;
  encoding_choice stored = {};
  std::vector<std::string> constants = {}; // some of its values, and others
  const column_type *type_of_values = nullptr;
};

// One table, or two that are joined.
struct database {
  dice random;
  duckdb::connection db;
  vorn_test::scratch_folder folder;
  std::vector<made_column> columns;
  std::string made; // how, as SQL
  std::optional<tables> loaded;
  std::optional<reference> checker;

  explicit database(uint32_t number) : random(number, UINT32_MAX) {
    const bool is_joined = number % 2 == 1;
    const bool is_long = number % 10 == 4 || number % 10 == 5; // more than a batch
    const uint64_t rows = number < 2 ? 0 : is_long ? batch_rows + random.below(1500) : random.below(4000);
    const value_maker &key = makers[1 + random.below(std::size(makers) - 1)]; // of which few rows are alike
    const uint64_t keys = random.one_in(2) ? 30 : 200;
    add_column("key_", key, fmt::format("(hash(i, 1) // 64 % {})", keys));
    add_table("one.parquet", "", rows, 0);
    if (is_joined) {
      const size_t first = columns.size();
      add_column("other_key_", key, random.one_in(2) ? "i::UBIGINT" : fmt::format("(hash(i, 2) // 64 % {})", keys));
      add_table("other.parquet", "other_", random.one_in(6) ? 0 : random.below(is_long ? 40 : 200), first);
    }
    const std::filesystem::path one = folder.path("one.parquet");
    const std::string join = fmt::format("{}:key_{}=other_key_{}", folder.path("other.parquet"), key.name, key.name);
    loaded.emplace(db, std::span(&one, 1), is_joined ? std::optional(join) : std::nullopt);
    std::vector<std::string> names;
    choice_map choices;
    for (made_column &c : columns) {
      names.push_back(c.name);
      c.type_of_values = &*loaded->names().find(c.name).type;
      choices[c.name] = c.stored = random_encoding(c);
      made += fmt::format("\n{} is {}{}", c.name, encoding_name(*c.stored.form), c.stored.compressed ? "+qpak" : "");
    }
    loaded->load(names, names, choices);
    checker.emplace(loaded->made_reference(db, names, true));
  }

  void add_column(const char *prefix, const value_maker &maker, const std::string &number) {
    const uint64_t null_percent = random.one_in(20) ? 100 : random.one_in(2) ? 0 : 8;
    const std::string sql = fmt::format(fmt::runtime(maker.sql), number);
    columns.push_back(
        {prefix + std::string(maker.name), maker.name,
         fmt::format("CASE WHEN hash(i, {}) % 100 >= {} THEN {} END", random.below(1000), null_percent, sql),
         null_percent != 0});
    auto some = db.query(fmt::format("SELECT ({})::VARCHAR FROM range(0, 70000, 9999) made(i) UNION ALL "
                                     "SELECT ({})::VARCHAR FROM range(4) made(i)",
                                     sql, fmt::format(fmt::runtime(maker.sql), "(hash(i, 7) // 64)")));
    while (const auto chunk = some.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row)
        columns.back().constants.emplace_back(chunk->column(0).text(row));
  }

  // Of the columns from the first one, and more.
  void add_table(const char *name, const char *prefix, uint64_t rows, size_t first) {
    constexpr uint64_t distinct[] = {1, 2, 9, 40, 300, 70'000, uint64_t{1} << 57};
    constexpr uint64_t run_lengths[] = {5, 90, 1'100};
    for (const value_maker &maker : makers)
      if (random.one_in(2))
        add_column(prefix, maker,
                   random.one_in(3)
                       ? fmt::format("(i // {} % {})::UBIGINT", random.of(run_lengths), random.of(distinct))
                       : fmt::format("(hash(i, {}) // 64 % {})", random.below(1000), random.of(distinct)));
    std::string values;
    for (const made_column &c : std::span(columns).subspan(first))
      values += fmt::format("{} AS {}, ", c.sql, c.name);
    const std::string sql = fmt::format("SELECT {} FROM range({}) made(i)", values, rows);
    db.query(fmt::format("COPY ({}) TO '{}'", sql, folder.path(name)));
    made += fmt::format("\n{}: {}", name, sql);
  }

  encoding_choice random_encoding(const made_column &c) {
    constexpr encoding forms[] = {encoding::dict, encoding::rle, encoding::prefix, encoding::fixed, encoding::dynp};
    const bool has_all = !c.has_nulls && !c.type_of_values->is_bytes() && !c.type_of_values->is_wide();
    const encoding form = forms[random.below(has_all ? 5 : c.kind == "code" && !c.has_nulls ? 3 : 2)];
    return {form, form != encoding::prefix && random.one_in(3)};
  }
};

// A question about a database.
struct question {
  dice random;
  const std::vector<made_column> &columns;
  const column_names &names;
  std::vector<const made_column *> searched = {}, numeric = {};

  question(const database &of, uint32_t number, uint32_t query)
      : random(number, query), columns(of.columns), names(of.loaded->names()) {
    for (const made_column &c : columns) {
      if (c.stored.form != encoding::prefix) // which has no search
        searched.push_back(&c);
      if (c.type_of_values->is_numeric())
        numeric.push_back(&c);
    }
  }

  std::string constant(const made_column &c) {
    constexpr const char *numbers[] = {"0", "-1", "1.5", "-2.25", "1e2", "99999", "9223372036854775808"};
    if (random.one_in(40))
      return "null";
    if (c.type_of_values->is_numeric() && random.one_in(4))
      return random.of(numbers);
    const std::string &value = random.of(c.constants);
    const bool is_bare = c.type_of_values->is_numeric() && is_number(value) && random.one_in(2);
    return is_bare ? value : duckdb::quoted_text(value);
  }

  std::string predicate(const made_column &c) {
    constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">="};
    constexpr const char *patterns[] = {"'a%'", "'%'", "'_'", "'%1%'", "'00_1%'", "''"};
    const std::string column = c.name + (random.one_in(3) ? " not" : "");
    const std::string low = constant(c), high = constant(c);
    switch (random.below(8)) {
    case 0:
      return fmt::format("{} between {} and {}", column, low, high);
    case 1:
      return fmt::format("{} between {}{}, {}{}", column, "[("[random.below(2)], low, high, "])"[random.below(2)]);
    case 2:
      return fmt::format("{} in ({}, {}, {})", column, low, high, constant(c));
    case 3:
      if (c.kind == "text" || c.kind == "code")
        return fmt::format("{} like {}", column, random.of(patterns));
      return fmt::format("{} is {}null", c.name, random.one_in(2) ? "not " : "");
    default:
      return fmt::format("{} {} {}", c.name, random.of(operators), low);
    }
  }

  std::string condition(uint64_t depth) {
    std::string out = depth == 0 ? predicate(*random.of(searched)) : "";
    const char *between = random.one_in(3) ? " or " : " and ";
    for (uint64_t parts = depth == 0 ? 0 : 2 + random.below(2); parts > 0; --parts)
      out += fmt::format("{}({})", out.empty() ? "" : between, condition(random.below(depth)));
    return random.one_in(5) ? fmt::format("not ({})", out) : out;
  }

  asked_aggregate aggregate() {
    constexpr const char *constants[] = {"2", "0.1", "-3", "1e3"};
    if (numeric.empty() || random.one_in(4))
      return {};
    std::string added = random.of(numeric)->name;
    if (random.one_in(3)) {
      const std::string other = random.one_in(2) ? random.of(constants) : random.of(numeric)->name;
      added = fmt::format("{} {} {}", added, "+-*"[random.below(3)], other);
      if (random.one_in(3))
        added = fmt::format("{} {} {}", random.of(constants), "+-*"[random.below(3)], random.of(numeric)->name);
    }
    return parse_aggregate(random.one_in(2) ? function::sum : function::average, added, names);
  }

  request whole() {
    request out;
    out.is_grouped = random.one_in(2);
    if (!searched.empty() && !random.one_in(4))
      out.where = parse_condition(condition(random.below(4)), names);
    for (uint64_t more = out.is_grouped ? random.below(4) : 1 + random.below(3); more > 0; --more)
      out.columns.push_back(random.of(columns).name);
    std::vector<std::string> orders = out.columns;
    for (uint64_t more = out.is_grouped ? random.below(4) + (out.columns.empty() ? 1 : 0) : 0; more > 0; --more)
      orders.push_back(out.aggregates.emplace_back(aggregate()).name());
    if (!out.is_grouped)
      orders.push_back(random.of(columns).name);
    std::string order = random.of(orders) + (random.one_in(2) ? " desc" : "");
    if (random.one_in(2))
      order += ", " + random.of(orders);
    if (random.one_in(2))
      out.order = parse_order(order, out, names);
    if (random.one_in(4))
      out.limit = random.below(random.one_in(2) ? 10 : 5000);
    return out.comparable(names);
  }

  // Rooms as they are, or so tiny that steps stop and go on and that groups take the longer ways.
  plan_settings settings() {
    constexpr uint32_t layouts[] = {VORN_HT_K2V4, VORN_HT_K2V8, VORN_HT_K4V4, VORN_HT_K4V8};
    constexpr std::optional<bool> blooms[] = {{}, true, false};
    constexpr std::optional<uint32_t> partition_bits[] = {{}, 0, 2, 4};
    constexpr uint32_t most_groups[] = {1U << 20, 500, 30, 1}, rooms[] = {4096, 61, 7, 1};
    join_settings join = {random.of(blooms), random.of(partition_bits), random.of(layouts)};
    if (random.one_in(2))
      join = {join.bloom, join.partition_bits, join.layout, 1, 2, 1, 8, 40};
    return {{random.of(most_groups), random.of(rooms)}, join};
  }
};

class random_queries : public testing::TestWithParam<uint32_t> {};

TEST_P(random_queries, are_answered_as_duckdb_does) {
  const database from(GetParam());
  const column_names &names = from.loaded->names();
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  const auto *best = std::find_if(std::next(std::begin(vorn_test::implementations)),
                                  std::end(vorn_test::implementations), vorn_test::runs_here);
  const uint32_t alone = chosen("VORN_QUERY", queries);
  std::map<uint32_t, kept_rows> answers;
  for (const auto *implementation : {std::begin(vorn_test::implementations), best}) {
    if (implementation == std::end(vorn_test::implementations))
      break;
    ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(*implementation, env));
    for (uint32_t number = alone == queries ? 0 : alone; number < std::min(queries, alone + 1); ++number) {
      question drawn(from, GetParam(), number);
      const request asked = drawn.whole();
      const std::vector<heading> headings = asked.headings(names);
      const bool is_first = implementation->capability == 0;
      const plan_settings rooms[] = {drawn.settings(), drawn.settings()}; // which an answer does not hang on
      SCOPED_TRACE(fmt::format("{} with room for {} groups: {}{}\nalone: VORN_SEED={} VORN_QUERY={} store_tests "
                               "--gtest_filter='*random_queries*/{}'",
                               implementation->name, rooms[is_first].dense.most_groups,
                               from.checker->sql_of(asked.sql(names, false)), from.made, chosen("VORN_SEED", 11),
                               number, GetParam()));
      try {
        const auto rows = planned(ctx, from.loaded->plan(), asked, rooms[is_first]);
        kept_rows found(headings.size());
        if (is_first) {
          EXPECT_TRUE(project(*rows, headings, from.checker->answer(asked.sql(names, true)),
                              std::numeric_limits<uint64_t>::max(), [&](row_block block) { found.add(block); })
                          .agree);
          answers.insert_or_assign(number, std::move(found));
        } else {
          while (rows->next() != 0)
            found.add(rows->rows());
          EXPECT_TRUE(found == answers.at(number)) << found.count() << " and " << answers.at(number).count() << " rows";
        }
      } catch (const error &e) {
        ADD_FAILURE() << e.what();
      }
    }
  }
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

INSTANTIATE_TEST_SUITE_P(of, random_queries, testing::Range(0U, databases));

} // namespace
