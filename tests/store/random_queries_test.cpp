// Random queries of random tables: conditions, joins, orders, groups and sums over every kind of value in every
// encoding.  The generic kernels answer as DuckDB does, and the best ones as the generic ones, to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

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
const uint32_t seed = chosen("VORN_SEED", 11);

struct dice {
  std::mt19937_64 random;

  dice(uint32_t database, uint32_t query) {
    std::seed_seq seeds{seed, database, query};
    random.seed(seeds);
  }
  uint64_t below(uint64_t bound) { return random() % bound; }
  bool one_in(uint64_t n) { return below(n) == 0; }
  template <class Collection>
  const auto &of(const Collection &choices) {
    return *(std::begin(choices) + static_cast<std::ptrdiff_t>(below(std::size(choices))));
  }
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
  std::string sql;
  bool has_nulls;
  std::vector<std::string> constants = {}; // some of its values, and others
  const column_type *type = nullptr;
  encoding_choice stored = {};
};

// One table, or two that are joined.
struct database {
  dice random;
  duckdb::connection db;
  vorn_test::scratch_folder folder;
  std::vector<made_column> columns;
  std::vector<const made_column *> searched, numeric; // of the columns
  std::string made;                                   // how, as SQL
  std::optional<tables> loaded;
  std::optional<reference> checker;

  explicit database(uint32_t number) : random(number, UINT32_MAX) {
    const bool is_long = number % 10 == 4 || number % 10 == 5; // more than a batch
    const uint64_t rows = number < 2 ? 0 : is_long ? batch_rows + random.below(1500) : random.below(4000);
    const value_maker &key = makers[1 + random.below(std::size(makers) - 1)]; // of which few rows are alike
    const std::string many = fmt::format("(hash(i, {{}}) // 64 % {})", random.one_in(2) ? 30 : 200);
    const std::filesystem::path one = folder.path("one.parquet"), other = folder.path("other.parquet");
    add_table(one, "", rows, key, fmt::format(fmt::runtime(many), 1));
    std::optional<std::string> join;
    if (number % 2 == 1) {
      join = fmt::format("{0}:{1}=other_{1}", other.string(), columns.front().name);
      add_table(other, "other_", random.one_in(6) ? 0 : random.below(is_long ? 40 : 200), key,
                random.one_in(2) ? "i::UBIGINT" : fmt::format(fmt::runtime(many), 2));
    }
    loaded.emplace(db, std::span(&one, 1), join);
    std::vector<std::string> names;
    choice_map choices;
    for (made_column &c : columns) {
      names.push_back(c.name);
      c.type = &*loaded->names().find(c.name).type;
      choices[c.name] = c.stored = encoding_of(c);
      made += fmt::format("\n{} is {}{}", c.name, encoding_name(*c.stored.form), c.stored.compressed ? "+qpak" : "");
      if (c.stored.form != encoding::prefix)
        searched.push_back(&c);
      if (c.type->is_numeric())
        numeric.push_back(&c);
    }
    loaded->load(names, names, choices);
    checker.emplace(loaded->made_reference(db, names, true));
  }

  void add_table(const std::string &file, const std::string &prefix, uint64_t rows, const value_maker &key,
                 const std::string &key_number) {
    constexpr uint64_t distinct[] = {1, 2, 9, 40, 300, 70'000, uint64_t{1} << 57}, run_lengths[] = {5, 90, 1'100};
    std::string values = column(prefix + "key_" + key.name, key, key_number);
    for (const value_maker &maker : makers)
      if (random.one_in(3))
        values += ", " + column(prefix + maker.name, maker,
                                fmt::format("(i // {} % {})::UBIGINT", random.of(run_lengths), random.of(distinct)));
      else if (random.one_in(2))
        values += ", " + column(prefix + maker.name, maker,
                                fmt::format("(hash(i, {}) // 64 % {})", random.below(99), random.of(distinct)));
    const std::string sql = fmt::format("SELECT {} FROM range({}) made(i)", values, rows);
    db.query(fmt::format("COPY ({}) TO '{}'", sql, file));
    made += "\n" + sql;
  }

  std::string column(const std::string &name, const value_maker &maker, const std::string &number) {
    const uint64_t null_percent = random.one_in(20) ? 100 : random.one_in(2) ? 0 : 8;
    const std::string value = fmt::format(fmt::runtime(maker.sql), number);
    columns.push_back({name, "", null_percent != 0});
    auto some = db.query(fmt::format("SELECT ({})::VARCHAR FROM range(0, 70000, 9999) made(i) UNION ALL "
                                     "SELECT ({})::VARCHAR FROM range(4) made(i)",
                                     value, fmt::format(fmt::runtime(maker.sql), "(hash(i, 7) // 64)")));
    while (const auto chunk = some.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row)
        columns.back().constants.emplace_back(chunk->column(0).text(row));
    return fmt::format("CASE WHEN hash(i, {}) % 100 >= {} THEN {} END AS {}", random.below(99), null_percent, value,
                       name);
  }

  encoding_choice encoding_of(const made_column &c) {
    constexpr encoding forms[] = {encoding::dict, encoding::rle, encoding::prefix, encoding::fixed, encoding::dynp};
    const bool has_all = !c.has_nulls && !c.type->is_bytes() && !c.type->is_wide();
    const encoding form = forms[random.below(has_all ? 5 : c.name.ends_with("code") && !c.has_nulls ? 3 : 2)];
    return {form, form != encoding::prefix && random.one_in(3)};
  }
};

// What is asked of a database.
struct question {
  const database &from;
  dice random;

  std::string constant(const made_column &c) {
    constexpr const char *numbers[] = {"0", "-1", "1.5", "-2.25", "1e2", "99999", "9223372036854775808"};
    const std::string &value = random.of(c.constants);
    if (random.one_in(40))
      return "null";
    if (c.type->is_numeric() && random.one_in(4))
      return random.of(numbers);
    return c.type->is_numeric() && is_number(value) && random.one_in(2) ? value : duckdb::quoted_text(value);
  }

  std::string predicate(const made_column &c) {
    constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">="}, *open[] = {"[", "("}, *close[] = {"]", ")"};
    constexpr const char *patterns[] = {"'a%'", "'%'", "'_'", "'%1%'", "'00_1%'", "''"};
    const std::string column = c.name + (random.one_in(3) ? " not" : "");
    const std::string low = constant(c), high = constant(c), opening = random.of(open);
    switch (random.below(8)) {
    case 0:
      return fmt::format("{} between {} and {}", column, low, high);
    case 1:
      return fmt::format("{} between {}{}, {}{}", column, opening, low, high, random.of(close));
    case 2:
      return fmt::format("{} in ({}, {}, {})", column, low, high, constant(c));
    case 3:
      return c.type->kind == value_kind::text ? fmt::format("{} like {}", column, random.of(patterns))
                                              : fmt::format("{} is {}null", c.name, opening == "(" ? "not " : "");
    default:
      return fmt::format("{} {} {}", c.name, random.of(operators), low);
    }
  }

  std::string condition(uint64_t depth) {
    std::string out = depth == 0 ? predicate(*random.of(from.searched)) : "";
    const char *between = random.one_in(3) ? " or " : " and ";
    for (uint64_t parts = depth == 0 ? 0 : 2 + random.below(2); parts > 0; --parts)
      out += (out.empty() ? "(" : between + std::string("(")) + condition(random.below(depth)) + ")";
    return random.one_in(5) ? fmt::format("not ({})", out) : out;
  }

  asked_aggregate aggregate() {
    constexpr const char *constants[] = {"2", "0.1", "-3", "1e3"}, *operators[] = {" + ", " - ", " * "};
    if (from.numeric.empty() || random.one_in(4))
      return {};
    std::string added = random.of(from.numeric)->name;
    if (random.one_in(4))
      added += random.of(operators) + std::string(random.of(constants));
    else if (random.one_in(3))
      added = (random.one_in(3) ? random.of(constants) : added) + random.of(operators) + random.of(from.numeric)->name;
    return parse_aggregate(random.one_in(2) ? function::sum : function::average, added, from.loaded->names());
  }

  request whole() {
    request out;
    out.is_grouped = random.one_in(2);
    if (!from.searched.empty() && !random.one_in(4))
      out.where = parse_condition(condition(random.below(4)), from.loaded->names());
    for (uint64_t more = out.is_grouped ? random.below(4) : 1 + random.below(3); more > 0; --more)
      out.columns.push_back(random.of(from.columns).name);
    std::vector<std::string> orders = out.columns;
    for (uint64_t more = out.is_grouped ? random.below(4) + (out.columns.empty() ? 1 : 0) : 0; more > 0; --more)
      orders.push_back(out.aggregates.emplace_back(aggregate()).name());
    if (!out.is_grouped)
      orders.push_back(random.of(from.columns).name);
    std::string order = random.of(orders) + (random.one_in(2) ? " desc, " : ", ");
    if (order += random.of(orders); random.one_in(2))
      out.order = parse_order(order, out, from.loaded->names());
    if (random.one_in(4))
      out.limit = random.below(random.one_in(2) ? 10 : 5000);
    return out.comparable(from.loaded->names());
  }

  // Rooms as they are, or so tiny that steps stop and go on and that groups take the longer ways.
  plan_settings rooms() {
    constexpr uint32_t layouts[] = {VORN_HT_K2V4, VORN_HT_K2V8, VORN_HT_K4V4, VORN_HT_K4V8};
    constexpr std::optional<bool> blooms[] = {{}, true, false};
    constexpr std::optional<uint32_t> partition_bits[] = {{}, 0, 2, 4};
    constexpr uint32_t most_groups[] = {1U << 20, 500, 30, 1}, room[] = {4096, 61, 7, 1};
    join_settings join = {random.of(blooms), random.of(partition_bits), random.of(layouts)};
    if (random.one_in(2))
      join = {join.bloom, join.partition_bits, join.layout, 1, 2, 1, 8, 40};
    return {{random.of(most_groups), random.of(room)}, join};
  }
};

class random_queries : public testing::TestWithParam<uint32_t> {};

TEST_P(random_queries, are_answered_as_duckdb_does) {
  const database from(GetParam());
  const column_names &names = from.loaded->names();
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  const auto *generic = std::begin(vorn_test::implementations), *none = std::end(vorn_test::implementations);
  const auto *best = std::find_if(generic + 1, none, vorn_test::runs_here);
  const uint32_t alone = chosen("VORN_QUERY", queries);
  std::map<uint32_t, kept_rows> answers;
  for (const auto *implementation : {generic, best == none ? generic : best}) {
    ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(*implementation, env));
    for (uint32_t number = 0; number < queries; ++number) {
      if (alone != queries && alone != number)
        continue;
      question drawn{from, {GetParam(), number}};
      const request asked = drawn.whole();
      const plan_settings first = drawn.rooms(), second = drawn.rooms(); // on which an answer does not hang
      const std::vector<heading> headings = asked.headings(names);
      SCOPED_TRACE(fmt::format("{}: {}{}\nalone: VORN_SEED={} VORN_QUERY={} --gtest_filter='*random_queries*/{}'",
                               implementation->name, from.checker->sql_of(asked.sql(names, false)), from.made, seed,
                               number, GetParam()));
      try {
        kept_rows found(headings.size());
        const auto keep = [&](row_block block) { found.add(block); };
        const auto rows = planned(ctx, from.loaded->plan(), asked, answers.contains(number) ? second : first);
        if (const auto answer = answers.find(number); answer != answers.end()) {
          while (rows->next() != 0)
            keep(rows->rows());
          EXPECT_TRUE(found == answer->second) << found.count() << " and " << answer->second.count() << " rows";
        } else {
          EXPECT_TRUE(project(*rows, headings, from.checker->answer(asked.sql(names, true)), UINT64_MAX, keep).agree);
          answers.emplace(number, std::move(found));
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
