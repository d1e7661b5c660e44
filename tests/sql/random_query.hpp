// Random queries over random tables.
#pragma once

#include <span>

#include "tests/sql/random_tables.hpp"
#include "tests/sql/syntax.hpp"

namespace vorn_test {

// A query whose columns are called r0, r1, ...  Parts of it say which columns have rounded values, by which ones it is
// ordered, and where it has a limit.
syntax random_query(dice &random, std::span<const random_table> tables);

} // namespace vorn_test
