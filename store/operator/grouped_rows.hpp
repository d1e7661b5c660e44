// Rows of a chunk with the numbers of their groups, as aggregates take them.
#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "store/chunk/vector.hpp"

namespace store::exec {

struct group_run {
  uint32_t group;
  uint32_t rows;
};

struct grouped_rows {
  uint32_t rows = 0;
  std::span<const uint32_t> numbers; // of the group of each row; empty where all rows are in group 0
  // Where groups are few: the rows of one group after another, each group's in their order.  So the state of a group
  // stays in a register, and does not go through memory from one row to the next.
  std::span<const group_run> runs;
  std::span<const uint32_t> order; // empty where it is the order of the rows
};

// `groups` is above all numbers.
grouped_rows with_runs(std::span<const uint32_t> numbers, uint32_t rows, size_t groups, arena &memory);

// Some of the rows, which may repeat no row.
grouped_rows with_rows(const grouped_rows &from, std::span<const uint32_t> rows, size_t groups, arena &memory);

// Calls fold(state, value) for each row, in the order of rows for each group.
template <class State, class T, class Fold>
void fold_rows(const grouped_rows &rows, std::span<const T> values, State *states, const Fold &fold) {
  if (rows.runs.empty()) {
    for (size_t row = 0; row < rows.rows; ++row)
      fold(states[rows.numbers[row]], values[row]);
    return;
  }
  size_t at = 0;
  for (const group_run &run : rows.runs) {
    State state = states[run.group];
    if (rows.order.empty())
      for (const size_t end = at + run.rows; at < end; ++at)
        fold(state, values[at]);
    else
      for (const size_t end = at + run.rows; at < end; ++at)
        fold(state, values[rows.order[at]]);
    states[run.group] = state;
  }
}

} // namespace store::exec
