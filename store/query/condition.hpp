// Conditions on columns: predicates joined by and, or and not.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "store/value/constant.hpp"
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

} // namespace store
