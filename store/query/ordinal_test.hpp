// Conditions over the ordinals of a column, ready for the library.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "store/encode/column.hpp"
#include "store/query/condition.hpp"

namespace store {

// All constants fit the width of the column.
struct ordinal_comparison {
  comparison op;
  uint64_t ordinal;
};
struct ordinal_interval {
  interval form;
  uint64_t low;
  uint64_t high;
};
struct ordinal_set {
  std::vector<uint64_t> members; // codes of a dictionary, ascending and distinct; that of NULL may be one
};
using ordinal_test = std::variant<ordinal_comparison, ordinal_interval, ordinal_set>;

// The tests that together select the rows that a predicate selects, or those on which it is false, which are not all
// others: on NULL it is neither.  Most predicates take one test.  Constants that are missing from the column, or beyond
// what its width holds, are replaced by ones that are not.  A question about texts is answered once for each of the
// dictionary.  Throws store::error when a constant is not of the column's type.
std::vector<ordinal_test> to_ordinals(const predicate &asked, bool is_false, const column &on);

// Tests of one column that together select what any of some selects: one where the column has a dictionary.
std::vector<ordinal_test> united(const std::vector<ordinal_test> &alternatives, const column &on);

// How many rows of a batch a test selects, as far as their zone tells.
enum class coverage { none, some, all };
coverage coverage_of(const ordinal_test &test, const column &on, const zone &held);

} // namespace store
