// Compares the rows of an answer with DuckDB's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/logical/plan.hpp"
#include "store/operator/answer.hpp"

namespace store {

// The part of the order of rows that a query defines.
struct row_order {
  // The leading sort keys that are columns of the answer.
  std::vector<size_t> keys;
  // The query has a limit, so the rows that it keeps may depend on an order that it does not define.
  bool is_limited = false;
};
row_order order_of(const logical::plan &root);

struct comparison {
  bool agree = true;
  std::string difference; // the first difference, if the answers do not agree
  // The number of doubles that differ at most by rounding, and their largest relative difference.
  uint64_t rounded = 0;
  double largest = 0;
  double bound = 0;
  // The number of rows that tie at the end of a limit.  Each side may keep other rows of them.
  uint64_t open_rows = 0;
};

// Rows with equal keys may come in any order.  `rows_read` is the largest number of values that a sum may have added.
// Two sums of n doubles of one sign, in different orders, differ at most by the factor 2 (n + 4) * 2^-53.
comparison compare(const exec::answer &ours, const exec::answer &duckdbs, const row_order &order, uint64_t rows_read);

} // namespace store
