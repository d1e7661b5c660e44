// Conditions on columns as they are written, and their SQL.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

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

std::string_view sql_name(comparison op);

// What a condition asks of a value; the constants are without their quotes.
struct comparison_test {
  comparison op = comparison::eq;
  std::string value;
};
struct interval_test {
  interval form = interval::closed;
  std::string low;
  std::string high;
};
struct set_test {
  std::vector<std::string> values;
};

struct condition {
  std::string column;
  std::variant<comparison_test, interval_test, set_test> test;
};

// Conditions that all have to hold; at least one.
using conjunction = std::vector<condition>;

// Reads "origin = ATL and delay between 10 and 60".  The forms of a condition are
//
//     column op value                  op is one of = <> < <= > >=
//     column between low and high      bounds included
//     column between [low, high)       a square bracket includes its bound, a round one does not: all four forms
//     column in [low, high)            the same, but for two round brackets, which hold a list
//     column in (value, ...)
//
// A column may stand in double quotes and a value in single ones; a quote inside is doubled.  Without quotes a value
// ends before the word "and" or, in brackets, before a comma or bracket.  Throws store::error that names what is wrong.
conjunction parse_conditions(std::string_view text);

// Reads "origin, delay"; a column may stand in double quotes as above.  Throws store::error.
std::vector<std::string> parse_columns(std::string_view text);

// Throws store::error when a constant is not of the kind.
void check_constants(const condition &c, value_kind kind);

// The condition on a column of the given kind.  DuckDB reads the constants by itself, so that the store's reading of
// them is checked too.
std::string to_sql(const condition &c, value_kind kind);

} // namespace store
