// Rows of a chunk with the numbers of their groups, as aggregates take them.
#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "store/chunk/vector.hpp"

namespace store::exec {

// Rows of one group that are together in the order.
struct group_run {
  uint32_t group;
  uint32_t first;
  uint32_t rows;
};

// Runs of rows with one key after another, the rows of each key in their order.  A key may have several runs.
struct sorted_runs {
  std::span<group_run> runs;
  std::span<const uint32_t> order;
};
inline constexpr size_t most_sorted_keys = 16;
// Keys below `keys`, which are at most most_sorted_keys.
sorted_runs sort_by_key(std::span<const uint32_t> of_rows, size_t keys, arena &memory);

struct grouped_rows {
  uint32_t rows = 0;
  std::span<const uint32_t> numbers; // of the group of each row; empty where all rows are in group 0
  // Where groups are few: runs of rows of one group, each group's in their order.  So the state of a group stays in a
  // register, and does not go through memory from one row to the next.  With runs the numbers may be missing.
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
  for (const group_run &run : rows.runs) {
    State state = states[run.group];
    const size_t end = size_t{run.first} + run.rows;
    if (rows.order.empty())
      for (size_t at = run.first; at < end; ++at)
        fold(state, values[at]);
    else
      for (size_t at = run.first; at < end; ++at)
        fold(state, values[rows.order[at]]);
    states[run.group] = state;
  }
}

} // namespace store::exec
