// Conditions on columns as they are written, and their SQL.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "store/value/column_names.hpp"
#include "store/value/constant.hpp"
#include "store/value/value.hpp"
#include <vorn/vorn.h>

namespace store {

// The value of an operator, and of the form of an interval, is the library's opcode.
enum class comparison : uint32_t {
  eq = VORN_OPC_EQ,
  lt = VORN_OPC_LT,
  gt = VORN_OPC_GT,
  le = VORN_OPC_LE,
  ge = VORN_OPC_GE,
  ne = VORN_OPC_NE
};
enum class interval : uint32_t {
  open = VORN_OPC_GT_LT,
  open_low = VORN_OPC_GT_LE,
  open_high = VORN_OPC_GE_LT,
  closed = VORN_OPC_GE_LE
};

constexpr interval interval_of(bool includes_low, bool includes_high) {
  return includes_low ? (includes_high ? interval::closed : interval::open_high)
                      : (includes_high ? interval::open_low : interval::open);
}
constexpr bool includes_low(interval form) { return form == interval::closed || form == interval::open_high; }
constexpr bool includes_high(interval form) { return form == interval::closed || form == interval::open_low; }

// What a condition asks of a value.
struct comparison_test {
  comparison op = comparison::eq;
  constant value;
};
struct interval_test {
  interval form = interval::closed;
  constant low;
  constant high;
  bool one_type = false; // SQL finds one type for both bounds and the column
};
struct set_test {
  std::vector<constant> values;
};
struct like_test {
  std::string pattern; // % stands for any text, _ for any character
};
struct null_test {};

struct predicate {
  std::string column;
  bool negated = false; // written with "not"
  std::variant<comparison_test, interval_test, set_test, like_test, null_test> test;
};

struct expression {
  enum class kind { single, all_of, any_of, negation };
  kind what = kind::single;
  predicate asked;               // of a single one
  std::vector<expression> parts; // of the others
};

struct condition {
  expression root;
  std::string sql; // for DuckDB, which reads the constants by itself
  std::vector<std::string> columns;
};

// Reads "origin = ATL and (delay between 10 and 60 or not date < 2001-02-01)".  The forms of a condition are
//
//     column op value                  op is one of = <> != < <= > >=
//     column between low and high      bounds included
//     column between [low, high)       a square bracket includes its bound, a round one does not: all four forms
//     column in [low, high)            the same, but for two round brackets, which hold a list
//     column in (value, ...)
//     column like pattern
//     column is null
//
// with "not" before between, in, like and null, joined by and, or, not and brackets.  A column may stand in double
// quotes and a value in single ones; a quote inside is doubled.  E'...' is a value with the escapes \\ \' \n \t \r and
// \xHH. Without quotes a value is one word, but a timestamp may have a time behind its date; a number is one of SQL,
// and the word null is NULL.  The SQL is the text itself with names and words put in quotes.  Throws store::error that
// names what is wrong and where, and for a column that is not there or that the store does not encode.
condition parse_condition(std::string_view text, const column_names &names);

// Reads "origin, delay"; a column may stand in double quotes as above, and * is all that the store encodes.
std::vector<std::string> parse_columns(std::string_view text, const column_names &names);

// Reads "name, name desc", where a name may stand in double quotes and asc is the other direction.
struct directed_name {
  std::string name;
  bool descending = false;
};
std::vector<directed_name> parse_directions(std::string_view text);

// Reads "name=name", where both names may stand in double quotes.
std::pair<std::string, std::string> parse_equality(std::string_view text);

// Reads "column=word" to the two; the column may stand in double quotes.
std::pair<std::string, std::string> parse_assignment(std::string_view text);

} // namespace store
