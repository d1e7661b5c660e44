// Random queries over random tables.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "tests/sql/random_tables.hpp"
#include "tests/sql/syntax.hpp"

namespace vorn_test {

// The number in an environment variable, or another one if there is no such variable.
inline uint32_t chosen_number(const char *variable, uint32_t otherwise) {
  const char *text = std::getenv(variable);
  return text == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}

// A query whose columns are called r0, r1, ...  Parts of it say which columns have rounded values, by which ones it is
// ordered, and where it has a limit.
syntax random_query(dice &random, std::span<const random_table> tables);

// Rows and a condition on them, for queries that must agree with each other.
struct random_rows {
  std::string columns;    // after SELECT
  std::string from;       // after FROM
  std::string other_from; // the same rows, joined in another order
  std::string condition;
};
random_rows random_rows_and_condition(dice &random, std::span<const random_table> tables);

} // namespace vorn_test
