// Conditions: their text, and the tests of ordinals that stand for them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/condition.hpp"
#include "store/encode/encoder.hpp"
#include "store/error.hpp"
#include "store/query/ordinal_test.hpp"
#include "tests/model/predicate.hpp"

namespace {

using namespace store;

const std::vector<column_info> columns = {
    {"origin", "VARCHAR", type_of("VARCHAR")},     {"flight date", "TIMESTAMP", type_of("TIMESTAMP")},
    {"a<\"b\"", "VARCHAR", type_of("VARCHAR")},    {"inland", "VARCHAR", type_of("VARCHAR")},
    {"checked in", "INTEGER", type_of("INTEGER")}, {"A", "VARCHAR", type_of("VARCHAR")},
    {"n", "INTEGER", type_of("INTEGER")},          {"N", "INTEGER", type_of("INTEGER")},
    {"list", "INTEGER[]", type_of("INTEGER[]")},   {"f", "FLOAT", type_of("FLOAT")},
    {"check", "INTEGER", type_of("INTEGER")},
};

TEST(condition, is_handed_to_duckdb_as_it_is_typed) {
  // The second is the first with names and words in quotes; empty where nothing needs them.
  const std::pair<const char *, const char *> cases[] = {
      {"origin = ATL", "\"origin\" = 'ATL'"},
      {"ORIGIN=ATL", "\"origin\"='ATL'"},
      {"  a<>-5 ", "  \"A\"<>'-5' "},
      {"n<>-5", "\"n\"<>-5"},
      {"n = 1 and f = 0.1 and f > 1e-3", "\"n\" = 1 and \"f\" = 0.1 and \"f\" > 1e-3"},
      {"f < infinity", "\"f\" < 'infinity'"},
      {"n = null or n != 3", "\"n\" = null or \"n\" != 3"},
      {"a\t>=\t5", "\"A\"\t>=\t'5'"},
      {"flight date > 2001-01-15 10:30 or n=1", "\"flight date\" > '2001-01-15 10:30' or \"n\"=1"},
      {"origin = 'O''Hare <main>'", "\"origin\" = 'O''Hare <main>'"},
      {"origin = O'Hare", "\"origin\" = 'O''Hare'"},
      {"origin = ''", "\"origin\" = ''"},
      {"origin = E'a\\nb\\'' and n=1", "\"origin\" = E'a\\nb\\'' and \"n\"=1"},
      {"\"a<\"\"b\"\"\" = ' x '", "\"a<\"\"b\"\"\" = ' x '"},
      {"inland = between", "\"inland\" = 'between'"},
      {"checked in = 5", "\"checked in\" = 5"},
      {"checked in in (5)", "\"checked in\" in (5)"},
      {"check=5", "\"check\"=5"},
      {"a between 1 and 2", "\"A\" between '1' and '2'"},
      {"n not BETWEEN '1' AND 2.5", "\"n\" not BETWEEN '1' AND 2.5"},
      {"n between [1, 2]", "(\"n\" >= 1 AND \"n\" <= 2)"},
      {"a in ( 1 , 2 ]", "(\"A\" > '1' AND \"A\" <= '2')"},
      {"n=1 and a not in[1,'2')or n=3", "\"n\"=1 and NOT (\"A\" >= '1' AND \"A\" < '2')or \"n\"=3"},
      {"n=1 or\"a\" not in [1,2)", "\"n\"=1 or NOT (\"A\" >= '1' AND \"A\" < '2')"},
      {"a in (x, 'y,)')", "\"A\" in ('x', 'y,)')"},
      {"a NOT IN('1',null)", "\"A\" NOT IN('1',null)"},
      {"origin like A% and origin not like '_B'", "\"origin\" like 'A%' and \"origin\" not like '_B'"},
      {"origin is null or a is not null", "\"origin\" is null or \"A\" is not null"},
      {"not (n=1 or(not n=2)) and a=b", "not (\"n\"=1 or(not \"n\"=2)) and \"A\"='b'"},
  };
  for (const auto &[text, sql] : cases)
    EXPECT_EQ(parse_condition(text, columns).sql, sql) << text;
}

TEST(condition, names_what_is_wrong_and_where) {
  const std::pair<const char *, const char *> cases[] = {
      {"", "no column at character 1"},
      {"= ATL", "no column at character 1"},
      {"N = 1 and", "no column at character 10"},
      {"origin", "no operator (one of = <> != < <= > >= between in like is null is needed) at character 7"},
      {"origin ATL", "no operator"},
      {"\"origin\" b = 1", "no operator"},
      {"origin =", "no value at character 9"},
      {"a = and n = 1", "no value at character 5"},
      {"origin == ATL", "unknown operator '=='"},
      {"a =< 5", "unknown operator '=<'"},
      {"a ~ 5", "unknown operator '~'"},
      {"a = 'x", "a quote is not closed at character 5"},
      {"a = E'x", "a quote is not closed"},
      {"a = E'\\q'", "an unknown escape"},
      {"a = \"b\"", "a value stands in single quotes"},
      {"\"a = 5", "a quote is not closed"},
      {"a = 'x' y", "unexpected 'y' at character 9"},
      {"a = New York", "unexpected 'York' at character 9"},
      {"n = 5 6", "unexpected '6' at character 7"},
      {"a = (x, y]", "no value at character 5"},
      {"a in (1, 2) b", "unexpected 'b' at character 13"},
      {"(a = 1", "a bracket is not closed at character 7"},
      {"(a = 1 b)", "unexpected 'b' at character 8"},
      {"a = 1)", "unexpected ')' at character 6"},
      {"a not = 1", "no between, in or like"},
      {"a is 5", "no null"},
      {"n like '1%'", "like asks for texts, and column 'n' has none"},
      {"a between 1", "no second bound"},
      {"a between 1 and", "no value"},
      {"a between and 2", "no value"},
      {"a between [1]", "an interval of 1 bounds"},
      {"a between (1, 2, 3)", "an interval of 3 bounds"},
      {"a in ()", "no value"},
      {"a in (1,)", "no value"},
      {"a in 5", "no list or interval"},
      {"a in (1, 2", "a bracket is not closed"},
      {"a in ('1' 2)", "a bracket is not closed"},
      {"n = many", "cannot read 'many' as a value of type integer"},
      {"nn = 1", "no column 'nn'"},
      {"list = 1", "column 'list' has type INTEGER[]"},
      {"\"CHECKED IN\" = 5 and \"ORIGIN\" = x and m = 1", "no column 'm'"},
  };
  for (const auto &[text, message] : cases) {
    SCOPED_TRACE(text);
    try {
      parse_condition(text, columns);
      ADD_FAILURE();
    } catch (const error &e) {
      EXPECT_THAT(e.what(), testing::HasSubstr(message));
    }
  }
  EXPECT_THROW(parse_condition(std::string(10'000, '('), columns), error);
  EXPECT_EQ(parse_condition("N = 1", columns).columns, std::vector<std::string>{"N"}) << "there is an n too";
  const std::vector<column_info> three = {{"xy", "INTEGER", type_of("INTEGER")},
                                          {"XY", "INTEGER", type_of("INTEGER")},
                                          {"z", "INTEGER", type_of("INTEGER")}};
  EXPECT_THROW(parse_condition("Xy = 1", three), error) << "either of two";
  EXPECT_EQ(parse_columns("Z, *", three), (std::vector<std::string>{"z", "xy", "XY", "z"}));
  EXPECT_EQ(parse_assignment("\"a=b\" = dict"), (std::pair<std::string, std::string>("a=b", "dict")));
  EXPECT_EQ(parse_assignment("a=b=rle"), (std::pair<std::string, std::string>("a=b", "rle")));
}

// The ordinals that a test names.
std::vector<uint64_t> constants_of(const ordinal_test &test) {
  if (const auto *compared = std::get_if<ordinal_comparison>(&test))
    return {compared->ordinal};
  if (const auto *between = std::get_if<ordinal_interval>(&test))
    return {between->low, between->high};
  return std::get<ordinal_set>(test).members;
}

// Does an ordinal pass a test, by the meaning of the library's operations?
bool passes(const ordinal_test &test, uint64_t x) {
  if (const auto *compared = std::get_if<ordinal_comparison>(&test))
    return vorn_model::satisfies(x, static_cast<unsigned>(compared->op), compared->ordinal, uint64_t{0});
  if (const auto *between = std::get_if<ordinal_interval>(&test))
    return vorn_model::satisfies(x, static_cast<unsigned>(between->form), between->low, between->high);
  return std::ranges::count(constants_of(test), x) != 0;
}

// A column of distinct values, and the ordinal of each.
struct sample {
  column on;
  std::vector<int64_t> values;
  std::vector<uint64_t> ordinals;
};

sample dictionary_of(const std::vector<int64_t> &values, bool nulls) {
  sample out{{}, values, {}};
  out.on.type.kind = value_kind::integer;
  out.on.values = dictionary::of(values, nulls);
  std::vector<uint32_t> codes;
  for (size_t i = 0; i < values.size(); ++i) {
    codes.push_back(static_cast<uint32_t>(i) + (nulls ? 1 : 0));
    out.ordinals.push_back(codes.back());
  }
  store_codes(out.on, {codes, {}}, encoding::dict);
  return out;
}

sample keys_of(const std::vector<int64_t> &values) {
  sample out{{}, values, {}};
  out.on.type.kind = value_kind::integer;
  store_keys(out.on, values, encoding::fixed);
  for (int64_t v : values)
    out.ordinals.push_back(static_cast<uint64_t>(v) - static_cast<uint64_t>(values.front()));
  return out;
}

TEST(condition, gives_ordinals_that_select_what_the_values_select) {
  // Even numbers, so that there are missing values below, between and above.  Counts on both sides of a full width:
  // with 4 values, or 3 and NULL, the first code after the last code does not fit.
  std::vector<sample> samples;
  for (int64_t count : {0, 1, 2, 3, 4, 5, 7, 8}) {
    std::vector<int64_t> values;
    for (int64_t i = 0; i < count; ++i)
      values.push_back(2 * i);
    samples.push_back(dictionary_of(values, false));
    samples.push_back(dictionary_of(values, true));
    samples.push_back(keys_of(values));
  }
  // 256 ordinals in one byte, and all that there are.
  samples.push_back(keys_of({-3, 0, 2, 252}));
  constexpr int64_t least = std::numeric_limits<int64_t>::min();
  constexpr int64_t greatest = std::numeric_limits<int64_t>::max();
  samples.push_back(keys_of({least, -1, 0, greatest}));

  constexpr comparison comparisons[] = {comparison::eq, comparison::ne, comparison::lt,
                                        comparison::le, comparison::gt, comparison::ge};
  constexpr interval intervals[] = {interval::open, interval::open_low, interval::open_high, interval::closed};
  for (const sample &s : samples) {
    std::vector<int64_t> constants = {least, -4, 17, 253, greatest};
    for (int64_t i = -1; i <= 16; ++i)
      constants.push_back(i);
    const auto expect = [&](const predicate &p, const std::string &name, const std::function<bool(int64_t)> &holds) {
      for (bool negated : {false, true}) {
        SCOPED_TRACE(fmt::format("{}{}, {} values, {} bits{}", negated ? "not " : "", name, s.values.size(), s.on.width,
                                 s.on.has_nulls() ? " and NULL" : ""));
        const std::vector<ordinal_test> tests = to_ordinals(p, negated, s.on);
        for (const ordinal_test &test : tests) {
          for (const uint64_t ordinal : constants_of(test))
            EXPECT_TRUE(s.on.width == 64 || ordinal < uint64_t{1} << s.on.width) << ordinal;
          // Code 0 is a member like any other, so a set must not have it when it stands for NULL.
          if (s.on.has_nulls() && std::holds_alternative<ordinal_set>(test)) {
            EXPECT_FALSE(passes(test, 0));
          }
        }
        for (size_t i = 0; i < s.values.size(); ++i) {
          const bool passed = std::any_of(tests.begin(), tests.end(),
                                          [&](const ordinal_test &test) { return passes(test, s.ordinals[i]); });
          EXPECT_EQ(passed, holds(s.values[i]) != negated) << s.values[i];
        }
      }
    };
    const auto number = [](int64_t n) { return constant{constant::form::number, std::to_string(n)}; };
    for (int64_t a : constants) {
      for (comparison op : comparisons)
        expect({"n", false, comparison_test{op, number(a)}}, fmt::format("{} {}", static_cast<uint32_t>(op), a),
               [&](int64_t v) { return vorn_model::satisfies(v, static_cast<unsigned>(op), a, a); });
      for (int64_t b : constants) {
        for (interval form : intervals)
          expect({"n", false, interval_test{form, number(a), number(b), false}},
                 fmt::format("{} {} {}", static_cast<uint32_t>(form), a, b),
                 [&](int64_t v) { return vorn_model::satisfies(v, static_cast<unsigned>(form), a, b); });
        expect({"n", false, set_test{{number(a), number(b)}}}, fmt::format("in {} {}", a, b),
               [&](int64_t v) { return v == a || v == b; });
      }
    }
  }
}

} // namespace
