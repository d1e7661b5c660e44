// Compares the rows of an answer with DuckDB's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/logical/plan.hpp"
#include "store/operator/answer.hpp"

namespace store {

// How far a query says in which order its rows come.
struct row_order {
  // Columns of the answer by which the rows are sorted: the first ones of the sort keys.
  std::vector<size_t> keys;
  // The query keeps some rows of more, and which of them may depend on an order that it does not say.
  bool is_limited = false;
};
row_order order_of(const logical::plan &root);

struct comparison {
  bool agree = true;
  std::string difference; // the first one, where the answers do not agree
  // Doubles that are not equal and differ no more than rounding explains, and the largest difference in units of the
  // value.
  uint64_t rounded = 0;
  double largest = 0;
  double bound = 0;
  // Rows that tie at the end of a limit, so that each side may keep others.
  uint64_t open_rows = 0;
};

// Rows that are equal in the keys may come in any order.  `rows_read` are the most that a sum may have added: sums of
// n doubles in different orders differ by up to 2 (n + 4) * 2^-53 of a sum of n numbers of one sign.
comparison compare(const exec::answer &ours, const exec::answer &duckdbs, const row_order &order, uint64_t rows_read);

} // namespace store
