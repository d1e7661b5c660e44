// Random queries of random tables: conditions, joins, orders, groups and sums over every kind of value in every
// encoding.  The generic kernels answer as DuckDB does, and all others, on any number of threads, as these, to the bit.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/request.hpp"
#include "sql/verify_rows.hpp"
#include "store/error.hpp"
#include "store/plan/kept_rows.hpp"
#include "store/plan/plan.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"
#include "vornq/tables.hpp"

namespace {

using namespace store;

constexpr uint32_t databases = 40, queries = RANDOM_QUERIES / databases; // of each

// What the environment says: another seed, or one query alone.
uint32_t chosen(const char *variable, uint32_t otherwise) {
  const char *text = std::getenv(variable);
  return text == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}
const uint32_t seed = chosen("VORN_SEED", 11);

struct dice {
  std::mt19937_64 random;
  dice(uint32_t database, uint32_t query) : random((uint64_t{seed} * databases + database) * 1000 + query) {}
  uint64_t below(uint64_t bound) { return random() % bound; }
  bool one_in(uint64_t n) { return below(n) == 0; }
  template <class Collection>
  const auto &of(const Collection &choices) {
    return choices[below(std::size(choices))];
  }
};

// Values of a number without a sign, as SQL makes them.
constexpr struct value_maker {
  const char *name = nullptr, *sql = nullptr;
  uint32_t forms = 5; // of storage, the first ones, that may hold it without NULL
} makers[] = {
    {"flag", "{0} % 2 = 0"},
    {"tiny", "(({0} % 256)::INT - 128)::TINYINT"},
    {"integer", "({0} % 100000)::INT - 50000"},
    {"big", "(CASE {0} % 9 WHEN 0 THEN 9223372036854775807 ELSE {0}::HUGEINT - 9223372036854775808 END)::BIGINT"},
    {"natural", "(CASE {0} % 11 WHEN 0 THEN 18446744073709551615 WHEN 1 THEN 0 ELSE {0} END)::UBIGINT"},
    {"huge", "(({0} % 1000)::HUGEINT - 500) * 100000000000000000000000000000", 2},
    {"price", "((({0} % 5000)::INT - 2500) / 100)::DECIMAL(9, 2)"},
    {"money", "(({0} % 70000) || '000000000000.125')::DECIMAL(30, 3)", 2},
    {"single", "((({0} % 640)::INT - 320) / 10)::FLOAT"},
    {"real", "['-0', '0', 'nan', 'inf', '-inf', '1e100', '5e-324', {0} / 7][least({0} % 20, 7)::INT + 1]::DOUBLE"},
    {"day", "DATE '1970-01-01' + ({0} % 9000)::INT - 4500"},
    {"clock", "TIME '00:00:00' + to_microseconds(({0} % 86399000000)::BIGINT)"},
    {"moment", "TIMESTAMP '1969-12-31' + to_microseconds(({0} % 864000000000)::BIGINT)"},
    {"nano", "make_timestamp_ns(({0} % 86400000000000)::BIGINT)"},
    {"instant", "(TIMESTAMP '1969-12-31' + to_microseconds(({0} % 864000000000)::BIGINT))::TIMESTAMPTZ"},
    {"id", "md5({0}::VARCHAR)::UUID", 2},
    {"bytes", "encode(CASE {0} % 9 WHEN 0 THEN '' ELSE 'b' || ({0} % 5000) END)", 2},
    {"text", "['', 'a', '\xC3\xA9' || {0}, 'more than twelve ' || {0}, 'a' || ({0} % 50)][({0} % 5)::INT + 1]", 2},
    {"code", "lpad(({0} % 9000)::VARCHAR, 6, '0')", 3}, // of one length
};

struct made_column {
  std::string name;
  std::vector<std::string> constants = {}; // some of its values, and others
  const column_type *type = nullptr;
};

// One table, or two that are joined, and what is asked of them.
struct database {
  dice random;
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  duckdb::connection db{1}; // the thread sanitizer, without which it is built, would see races among its own threads
  vorn_test::scratch_folder folder;
  std::vector<made_column> columns;
  std::vector<const made_column *> searched, numeric; // of the columns
  std::vector<std::string> names;
  choice_map choices;
  std::string made; // how, as SQL
  std::optional<tables> loaded;
  std::optional<reference> checker;

  explicit database(uint32_t number) : random(number, 999) {
    const bool is_joined = number % 4 != 0, is_long = number % 10 == 4 || number % 10 == 5; // more than a batch
    const uint64_t rows = number < 2 ? 0 : is_long ? batch_rows + random.below(1500) : random.below(4000);
    const value_maker &key = makers[1 + random.below(std::size(makers) - 1)]; // of which few rows are alike
    std::filesystem::path one = folder.path("one.parquet"), other = folder.path("other.parquet");
    add_table(one, "", rows, key, random.one_in(2) ? "(hash(i) // 64 % 40)" : "(hash(i) // 64 % 200)");
    if (is_joined) // keys once each, or again
      add_table(other, "other_", random.one_in(6) ? 0 : random.below(is_long ? 40 : 200), key,
                random.one_in(3) ? "(hash(i + 1) // 64 % 50)" : "i::UBIGINT");
    const auto load = [&] {
      const std::string join = fmt::format("{0}:key_{1}=other_key_{1}", other.string(), key.name);
      loaded.emplace(ctx, db, std::span(&one, 1), is_joined ? std::optional(join) : std::nullopt);
      loaded->load(names, names, choices);
    };
    ctx.vorn_ctx_decompress = vorn_qpak_decode;
    put_in_force(vorn_test::implementations[0], env);
    for (const made_column &c : columns)
      names.push_back(c.name);
    load();
    checker.emplace(loaded->made_reference(db, names, true));
    if (number % 3 != 0) { // the first table from a saved file, or all
      loaded->save(one.replace_extension(".vorn"));
      if (is_joined && number % 3 == 1)
        loaded->save(other.replace_extension(".vorn"), 1);
      load();
    }
    for (made_column &c : columns) {
      c.type = &*loaded->names().find(c.name).type;
      if (choices[c.name].form != encoding::prefix)
        searched.push_back(&c);
      if (c.type->is_numeric())
        numeric.push_back(&c);
    }
  }

  void add_table(const std::string &file, const std::string &prefix, uint64_t rows, const value_maker &key,
                 const char *key_number) {
    constexpr uint64_t distinct[] = {1, 2, 9, 40, 300, 70'000, uint64_t{1} << 57}, lengths[] = {5, 90, 1'100};
    constexpr encoding forms[] = {encoding::dict, encoding::rle, encoding::prefix, encoding::fixed, encoding::dynp};
    std::string sql = "SELECT";
    for (uint64_t place = 0; place <= std::size(makers); place += 1 + random.below(3)) { // the key, and about half
      const value_maker &maker = place == 0 ? key : makers[place - 1];
      const std::string name = prefix + (place == 0 ? "key_" : "") + maker.name;
      const std::string made_number =
          fmt::format(fmt::runtime(random.one_in(3) ? "(i // {0} % {1})::UBIGINT" : "(hash(i, {2}) // 64 % {1})"),
                      random.of(lengths), random.of(distinct), columns.size());
      const std::string value = fmt::format(fmt::runtime(maker.sql), place == 0 ? key_number : made_number);
      const uint64_t null_percent = random.one_in(20) ? 100 : random.one_in(2) ? 0 : 8;
      const encoding form = forms[random.below(null_percent == 0 ? maker.forms : 2)];
      choices[name] = {form, form != encoding::prefix && random.one_in(3)};
      made += fmt::format("\n{} is {}{}", name, encoding_name(form), choices[name].compressed ? "+qpak" : "");
      sql += fmt::format(" CASE WHEN hash(i, {}) % 100 >= {} THEN {} END AS {},", place, null_percent, value, name);
      columns.push_back({name});
      auto some = db.query(fmt::format("SELECT unnest([{}, {}])::VARCHAR FROM range(0, 40000, 9999) made(i)", value,
                                       fmt::format(fmt::runtime(maker.sql), "(hash(i, 7) // 64)")));
      while (const auto chunk = some.next())
        for (uint64_t row = 0; row < chunk->rows(); ++row)
          columns.back().constants.emplace_back(chunk->column(0).text(row));
    }
    made += "\n" + (sql += fmt::format(" FROM range({}) made(i)", rows));
    db.query(fmt::format("COPY ({}) TO '{}'", sql, file));
  }

  std::string constant(const made_column &c) {
    constexpr const char *numbers[] = {"null", "0", "-1", "1.5", "-2.25", "1e2", "99999", "9223372036854775808"};
    const std::string &value = random.of(c.constants);
    if (random.one_in(c.type->is_numeric() ? 5 : 40))
      return c.type->is_numeric() ? random.of(numbers) : "null";
    return c.type->is_numeric() && is_number(value) && random.one_in(2) ? value : duckdb::quoted_text(value);
  }

  std::string predicate(const made_column &c) {
    constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">="}, *open[] = {"[", "("}, *close[] = {"]", ")"};
    constexpr const char *patterns[] = {"'a%'", "'%'", "'_'", "'%1%'", "'00_1%'", "''"}, *negated[] = {"", "", "not "};
    const std::string low = constant(c), high = constant(c), opening = random.of(open), no = random.of(negated);
    const std::string forms[] = {
        fmt::format("{} {} {}", c.name, random.of(operators), low),
        fmt::format("{} {}between {} and {}", c.name, no, low, high),
        fmt::format("{} {}between {}{}, {}{}", c.name, no, opening, low, high, random.of(close)),
        fmt::format("{} {}in ({}, {}, {})", c.name, no, low, high, constant(c)),
        c.type->kind == value_kind::text ? fmt::format("{} {}like {}", c.name, no, random.of(patterns))
                                         : fmt::format("{} is {}null", c.name, no)};
    return random.one_in(3) ? forms[0] : random.of(forms);
  }

  std::string condition(uint64_t depth) {
    std::string out = depth == 0 ? predicate(*random.of(searched)) : "";
    const std::string between = random.one_in(3) ? " or " : " and ";
    for (uint64_t parts = depth == 0 ? 0 : 2 + random.below(2); parts > 0; --parts)
      out += fmt::format("{}({})", out.empty() ? "" : between, condition(random.below(depth)));
    return random.one_in(5) ? fmt::format("not ({})", out) : out;
  }

  asked_aggregate aggregate() {
    constexpr const char *constants[] = {"2", "0.1", "-3", "1e3"}, *operators[] = {" + ", " - ", " * "};
    if (numeric.empty() || random.one_in(4))
      return {};
    const std::string a = random.of(numeric)->name, b = random.of(numeric)->name, op = random.of(operators);
    const std::string number = random.of(constants), terms[] = {a, a, a, a + op + b, a + op + number, number + op + a};
    return parse_aggregate(random.one_in(2) ? function::sum : function::average, random.of(terms), loaded->names());
  }

  request whole() {
    request out;
    out.is_grouped = random.one_in(2);
    if (!searched.empty() && !random.one_in(4))
      out.set_where(parse_condition(condition(random.below(4)), loaded->names()));
    for (uint64_t more = random.below(4) + (out.is_grouped ? 0 : 1); more > 0; --more)
      out.columns.push_back(random.of(names));
    std::vector<std::string> orders = out.is_grouped ? out.columns : names;
    for (uint64_t more = random.below(4) + (out.columns.empty() ? 1 : 0); out.is_grouped && more > 0; --more)
      orders.push_back(out.aggregates.emplace_back(aggregate()).name());
    const std::string first = random.of(orders), second = random.of(orders);
    if (random.one_in(2))
      out.order = parse_order(first + (random.one_in(2) ? " desc, " : ", ") + second, out, loaded->names());
    out.limit = random.one_in(4) ? std::optional(random.below(random.one_in(2) ? 10 : 5000)) : std::nullopt;
    return out.comparable(loaded->names());
  }

  // Rooms as they are, or so tiny that steps stop and go on and that groups take the longer ways.
  plan_settings rooms() {
    constexpr dense_settings dense[] = {{}, {500, 61}, {30, 7}, {1, 1}};
    constexpr uint32_t bits[] = {0, 2, 4}, layouts[] = {VORN_HT_K2V4, VORN_HT_K2V8, VORN_HT_K4V4, VORN_HT_K4V8};
    const join_settings some = {random.one_in(2), random.of(bits), random.of(layouts)};
    const join_settings joins[] = {{}, some, {some.bloom, some.partition_bits, some.layout, 1, 2, 1, 8, 40}};
    return {random.of(dense), random.of(joins)};
  }
};

class random_queries : public testing::TestWithParam<uint32_t> {};
TEST_P(random_queries, are_answered_as_duckdb_does) {
  database from(GetParam());
  const column_names &known = from.loaded->names();
  const uint32_t begin = chosen("VORN_QUERY", 0), end = chosen("VORN_QUERY", queries - 1) + 1;
  std::map<uint32_t, kept_rows> answers;
  constexpr uint32_t thread_counts[] = {1, 2, 3, 7};
  constexpr size_t counts = std::size(thread_counts);
  for (size_t run = 0; run < counts + std::size(vorn_test::implementations) - 1;
       ++run) { // generic with each, then others
    const auto &implementation = vorn_test::implementations[run < counts ? 0 : run - counts + 1];
    if (!vorn_test::runs_here(implementation))
      continue;
    ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(implementation, from.env));
    worker_pool threads(thread_counts[run % counts]);
    for (uint32_t number = begin; number < end; ++number) {
      from.random = dice(GetParam(), number);
      const request asked = from.whole();
      SCOPED_TRACE(fmt::format("{}, {} threads: {}{}\nVORN_SEED={} VORN_QUERY={} --gtest_filter='*random_queries*/{}'",
                               implementation.name, threads.threads(), from.checker->sql_of(asked.sql(known, false)),
                               from.made, seed, number, GetParam()));
      const std::vector<heading> headings = asked.headings(known);
      kept_rows found(headings.size());
      const auto keep = [&](row_block block) { found.add(block); };
      from.random.random.discard(run); // an answer does not hang on room
      try {
        const auto rows = planned({from.ctx, threads}, from.loaded->plan(), asked, from.rooms());
        if (run == 0)
          EXPECT_TRUE(
              verify_rows(*rows, headings, from.checker->answer(asked.sql(known, true)), UINT64_MAX, keep).agree);
        else
          while (rows->next() != 0)
            keep(rows->rows());
        const auto [first, is_first] = answers.try_emplace(number, std::move(found));
        EXPECT_TRUE(is_first || found == first->second) << found.count() << " rows";
      } catch (const error &e) {
        ADD_FAILURE() << e.what();
      }
    }
  }
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

INSTANTIATE_TEST_SUITE_P(of, random_queries, testing::Range(0U, databases));

} // namespace
