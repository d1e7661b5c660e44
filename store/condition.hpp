// Conditions "column operator value": their text, their SQL, and their form over dictionary codes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/vorn.h"
#include "store/column.hpp"

namespace store {

// The value of an operator is the library's opcode.
enum class comparison : uint32_t {
  eq = VORN_OPC_EQ,
  lt = VORN_OPC_LT,
  gt = VORN_OPC_GT,
  le = VORN_OPC_LE,
  ge = VORN_OPC_GE,
  ne = VORN_OPC_NE
};

std::string_view sql_name(comparison op);

// A condition as it was written: column and value without their quotes.
struct condition {
  std::string column;
  comparison op;
  std::string value;
};

// Reads "origin = ATL".  A column may stand in double quotes and a value in single ones; a quote inside is doubled.
// Throws store::error that names what is wrong.
condition parse_condition(std::string_view text);

// The condition on a column of the given kind.  DuckDB reads the value by itself, so that the store's reading of it
// is checked too.
std::string to_sql(const condition &c, value_kind kind);

// A comparison of codes with a constant that fits their width.
struct code_comparison {
  comparison op;
  uint32_t code;
};

// The comparison that selects the rows that the condition selects.  Throws store::error when its value is not of the
// column's kind.
code_comparison to_codes(const condition &c, const column &on);

} // namespace store
