// Conditions: their text, and the comparison of codes that stands for them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/condition.hpp"
#include "store/error.hpp"

namespace {

using namespace store;

constexpr comparison all_comparisons[] = {comparison::eq, comparison::ne, comparison::lt,
                                          comparison::le, comparison::gt, comparison::ge};

bool holds(comparison op, int64_t a, int64_t b) {
  switch (op) {
  case comparison::eq:
    return a == b;
  case comparison::ne:
    return a != b;
  case comparison::lt:
    return a < b;
  case comparison::le:
    return a <= b;
  case comparison::gt:
    return a > b;
  case comparison::ge:
    return a >= b;
  }
  return false;
}

TEST(condition, is_read_with_and_without_blanks_and_quotes) {
  struct expected {
    const char *text;
    const char *column;
    comparison op;
    const char *value;
  };
  const expected cases[] = {
      {"origin = ATL", "origin", comparison::eq, "ATL"},
      {"origin=ATL", "origin", comparison::eq, "ATL"},
      {"  a<>-5 ", "a", comparison::ne, "-5"},
      {"a<=5", "a", comparison::le, "5"},
      {"a < 5", "a", comparison::lt, "5"},
      {"a\t>=\t5", "a", comparison::ge, "5"},
      {"a>5", "a", comparison::gt, "5"},
      {"flight date > 2001-01-15 10:30", "flight date", comparison::gt, "2001-01-15 10:30"},
      {"name = 'O''Hare <main>'", "name", comparison::eq, "O'Hare <main>"},
      {"name = O'Hare", "name", comparison::eq, "O'Hare"},
      {"name = ''", "name", comparison::eq, ""},
      {"\"a<\"\"b\"\"\" = ' x '", "a<\"b\"", comparison::eq, " x "},
  };
  for (const expected &e : cases) {
    SCOPED_TRACE(e.text);
    const condition c = parse_condition(e.text);
    EXPECT_EQ(c.column, e.column);
    EXPECT_EQ(c.op, e.op);
    EXPECT_EQ(c.value, e.value);
  }
  for (const char *bad : {"", "origin", "origin ATL", "= ATL", "origin =", "origin == ATL", "origin != ATL", "a =< 5",
                          "a ~ 5", "a = 'x", "\"a = 5", "a = 'x' y"})
    EXPECT_THROW(parse_condition(bad), error) << bad;
}

TEST(condition, gives_codes_that_select_what_the_values_select) {
  // Even numbers, so that there are missing values below, between and above.  Counts on both sides of a full width:
  // with 4 values, or 3 and NULL, the first code behind the last one does not fit.
  for (bool nulls : {false, true})
    for (int64_t count : {0, 1, 2, 3, 4, 5, 7, 8}) {
      std::vector<int64_t> values;
      std::vector<uint32_t> codes;
      const uint32_t first = nulls ? 1 : 0;
      for (int64_t i = 0; i < count; ++i) {
        values.push_back(2 * i);
        codes.push_back(first + static_cast<uint32_t>(i));
      }
      const uint32_t width = least_width(static_cast<uint64_t>(count) + first);
      const column on{"n", "BIGINT", value_kind::integer, nulls, dictionary(values), packed_codes(codes, width), 0};
      for (comparison op : all_comparisons)
        for (int64_t constant = -1; constant <= 2 * count; ++constant) {
          const condition c{"n", op, std::to_string(constant)};
          SCOPED_TRACE(testing::Message() << "n " << sql_name(op) << " " << constant << ", " << count << " values"
                                          << (nulls ? " and NULL" : ""));
          const code_comparison compared = to_codes(c, on);
          EXPECT_LT(compared.code, uint64_t{1} << width);
          for (size_t i = 0; i < values.size(); ++i)
            EXPECT_EQ(holds(compared.op, codes[i], compared.code), holds(op, values[i], constant)) << values[i];
        }
    }
}

} // namespace
