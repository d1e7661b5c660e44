// Conditions: their text, and the tests of ordinals that stand for them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/encode/encoder.hpp"
#include "store/error.hpp"
#include "store/query/condition.hpp"
#include "store/query/ordinal_test.hpp"

namespace {

using namespace store;

// A conjunction in a form that tells everything apart: the SQL of each condition on its own line.
std::string read(std::string_view text) {
  std::string out;
  for (const condition &c : parse_conditions(text))
    out += fmt::format("{}{}", out.empty() ? "" : "\n", to_sql(c, value_kind::text));
  return out;
}

TEST(condition, is_read_with_and_without_blanks_and_quotes) {
  const auto compared = [](const char *column, const char *op, const char *constant) {
    return fmt::format("\"{}\" {} '{}'::VARCHAR", column, op, constant);
  };
  const std::pair<const char *, std::string> cases[] = {
      {"origin = ATL", compared("origin", "=", "ATL")},
      {"origin=ATL", compared("origin", "=", "ATL")},
      {"  a<>-5 ", compared("a", "<>", "-5")},
      {"a<=5", compared("a", "<=", "5")},
      {"a < 5", compared("a", "<", "5")},
      {"a\t>=\t5", compared("a", ">=", "5")},
      {"a>5", compared("a", ">", "5")},
      {"flight date > 2001-01-15 10:30", compared("flight date", ">", "2001-01-15 10:30")},
      {"name = 'O''Hare <main>'", compared("name", "=", "O''Hare <main>")},
      {"name = O'Hare", compared("name", "=", "O''Hare")},
      {"name = ''", compared("name", "=", "")},
      {"\"a<\"\"b\"\"\" = ' x '", compared("a<\"\"b\"\"", "=", " x ")},
      {"name = (a, b]", compared("name", "=", "(a, b]")},
      {"inland = between", compared("inland", "=", "between")},
      {"checked in = 5", compared("checked in", "=", "5")},
  };
  for (const auto &[text, sql] : cases)
    EXPECT_EQ(read(text), sql) << text;
}

TEST(condition, takes_intervals_lists_and_conjunctions) {
  const std::string closed = "\"a\" >= '1'::VARCHAR AND \"a\" <= '2'::VARCHAR";
  const std::string open = "\"a\" > '1'::VARCHAR AND \"a\" < '2'::VARCHAR";
  const std::string open_low = "\"a\" > '1'::VARCHAR AND \"a\" <= '2'::VARCHAR";
  const std::string open_high = "\"a\" >= '1'::VARCHAR AND \"a\" < '2'::VARCHAR";
  const std::string list = "\"a\" IN ('1'::VARCHAR, '2'::VARCHAR)";
  const std::string equal = "\"a\" = '1'::VARCHAR";
  const std::pair<const char *, std::string> cases[] = {
      {"a between 1 and 2", closed},
      {"a BETWEEN '1' AND '2'", closed},
      {"a between [1, 2]", closed},
      {"a in [1,2]", closed},
      {"a between (1, 2)", open},
      {"a between (1, 2]", open_low},
      {"a in ( 1 , 2 ]", open_low},
      {"a between[1,2)", open_high},
      {"a in [1, 2)", open_high},
      {"a in (1, 2)", list},
      {"a IN('1','2')", list},
      {"\"a\" in ('1', 2)", list},
      {"a in ('1,2)', ' and ')", "\"a\" IN ('1,2)'::VARCHAR, ' and '::VARCHAR)"},
      {"a = 1 and a = 1", equal + "\n" + equal},
      {"a = 1 AND a between 1 and 2 and a = 1", equal + "\n" + closed + "\n" + equal},
      {"a in (1, 2) and a between (1, 2) and a='1' and a = 1", list + "\n" + open + "\n" + equal + "\n" + equal},
      {"a = 'x and y' and a = 1", fmt::format("\"a\" = 'x and y'::VARCHAR\n{}", equal)},
      {"a = 1 and sand = andy", equal + "\n\"sand\" = 'andy'::VARCHAR"},
  };
  for (const auto &[text, sql] : cases)
    EXPECT_EQ(read(text), sql) << text;
}

TEST(condition, names_what_is_wrong) {
  const std::pair<const char *, const char *> cases[] = {
      {"", "no column"},
      {"= ATL", "no column"},
      {"in (1)", "no operator"},
      {"origin", "no operator"},
      {"origin ATL", "no operator"},
      {"\"a\" b = 1", "no operator"},
      {"origin =", "no value"},
      {"a = and b = 1", "no value"},
      {"a = 1 and", "no column"},
      {"origin == ATL", "unknown operator '=='"},
      {"origin != ATL", "unknown operator '!='"},
      {"a =< 5", "unknown operator '=<'"},
      {"a ~ 5", "unknown operator '~'"},
      {"a = 'x", "a quote is not closed"},
      {"\"a = 5", "a quote is not closed"},
      {"a = 'x' y", "unexpected 'y'"},
      {"a in (1, 2) b", "unexpected 'b'"},
      {"a between 1", "no second bound"},
      {"a between 1 and", "no value"},
      {"a between and 2", "no value"},
      {"a between", "no value"},
      {"a between [1]", "an interval of 1 bounds"},
      {"a between (1, 2, 3)", "an interval of 3 bounds"},
      {"a in [1, 2, 3)", "an interval of 3 bounds"},
      {"a in ()", "no value"},
      {"a in (1,)", "no value"},
      {"a in (1, 2", "a bracket is not closed"},
      {"a in ('1' 2)", "a bracket is not closed"},
  };
  for (const auto &[text, message] : cases) {
    SCOPED_TRACE(text);
    try {
      parse_conditions(text);
      ADD_FAILURE();
    } catch (const error &e) {
      EXPECT_THAT(e.what(), testing::HasSubstr(message));
      EXPECT_THAT(e.what(), testing::HasSubstr(text));
    }
  }
}

// Does an ordinal pass a test, by the meaning of the library's operations?
bool passes(const ordinal_test &test, uint64_t x) {
  if (const auto *compared = std::get_if<ordinal_comparison>(&test)) {
    const uint64_t c = compared->ordinal;
    switch (compared->op) {
    case comparison::eq:
      return x == c;
    case comparison::ne:
      return x != c;
    case comparison::lt:
      return x < c;
    case comparison::le:
      return x <= c;
    case comparison::gt:
      return x > c;
    case comparison::ge:
      return x >= c;
    }
  }
  if (const auto *between = std::get_if<ordinal_interval>(&test))
    return (includes_low(between->form) ? x >= between->low : x > between->low) &&
           (includes_high(between->form) ? x <= between->high : x < between->high);
  const auto &members = std::get<ordinal_set>(test).members;
  return std::find(members.begin(), members.end(), x) != members.end();
}

bool fits(const ordinal_test &test, uint32_t width) {
  const auto fits_one = [width](uint64_t x) { return width == 64 || x < uint64_t{1} << width; };
  if (const auto *compared = std::get_if<ordinal_comparison>(&test))
    return fits_one(compared->ordinal);
  if (const auto *between = std::get_if<ordinal_interval>(&test))
    return fits_one(between->low) && fits_one(between->high);
  const auto &members = std::get<ordinal_set>(test).members;
  return std::all_of(members.begin(), members.end(), fits_one);
}

// A column of distinct values, and the ordinal of each.
struct sample {
  column on;
  std::vector<int64_t> values;
  std::vector<uint64_t> ordinals;
};

sample dictionary_of(const std::vector<int64_t> &values, bool nulls) {
  sample out{{}, values, {}};
  out.on.kind = value_kind::integer;
  auto &entries = out.on.values.emplace<dictionary>(nulls);
  std::vector<uint32_t> codes;
  for (int64_t v : values) {
    codes.push_back(static_cast<uint32_t>(entries.codes()));
    entries.append(v);
    out.ordinals.push_back(codes.back());
  }
  store_codes(out.on, codes, encoding::dict);
  return out;
}

sample keys_of(const std::vector<int64_t> &values) {
  sample out{{}, values, {}};
  out.on.kind = value_kind::integer;
  store_keys(out.on, values, encoding::fixed);
  for (int64_t v : values)
    out.ordinals.push_back(static_cast<uint64_t>(v) - static_cast<uint64_t>(values.front()));
  return out;
}

TEST(condition, gives_ordinals_that_select_what_the_values_select) {
  // Even numbers, so that there are missing values below, between and above.  Counts on both sides of a full width:
  // with 4 values, or 3 and NULL, the first code behind the last one does not fit.
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
    const auto expect = [&](const condition &c, const std::function<bool(int64_t)> &holds) {
      SCOPED_TRACE(fmt::format("{}, {} values, {} bits{}", to_sql(c, value_kind::integer), s.values.size(), s.on.width,
                               s.on.has_nulls() ? " and NULL" : ""));
      const ordinal_test test = to_ordinals(c, s.on);
      EXPECT_TRUE(fits(test, s.on.width));
      for (size_t i = 0; i < s.values.size(); ++i)
        EXPECT_EQ(passes(test, s.ordinals[i]), holds(s.values[i])) << s.values[i];
      // Code 0 is a member like any other, so a set must not have it when it stands for NULL.
      if (s.on.has_nulls() && std::holds_alternative<ordinal_set>(test)) {
        EXPECT_FALSE(passes(test, 0));
      }
    };
    for (int64_t a : constants) {
      for (comparison op : comparisons)
        expect({"n", comparison_test{op, std::to_string(a)}}, [&](int64_t v) {
          return passes(ordinal_comparison{op, static_cast<uint64_t>(a) ^ uint64_t{1} << 63},
                        static_cast<uint64_t>(v) ^ uint64_t{1} << 63);
        });
      for (int64_t b : constants) {
        for (interval form : intervals)
          expect({"n", interval_test{form, std::to_string(a), std::to_string(b)}}, [&](int64_t v) {
            return (includes_low(form) ? v >= a : v > a) && (includes_high(form) ? v <= b : v < b);
          });
        expect({"n", set_test{{std::to_string(a), std::to_string(b)}}}, [&](int64_t v) { return v == a || v == b; });
      }
    }
  }
}

} // namespace
