// Rows of a chunk with the numbers of their groups, as aggregates take them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "store/chunk/fast_loop.hpp"
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
  // Where groups are few and aggregates need the order of rows: runs of rows of one group, each group's in their order.
  // So the state of a group stays in a register, and does not go through memory from one row to the next.
  std::span<const group_run> runs;
  std::span<const uint32_t> order;
};

// `groups` is above all numbers.
grouped_rows with_runs(std::span<const uint32_t> numbers, uint32_t rows, size_t groups, arena &memory);

// Calls fold(state, value_of(row)) for each row, in the order of rows for each group.
template <class State, class Value, class Fold>
void fold_rows(const grouped_rows &rows, std::span<State> states, const Value &value_of, const Fold &fold) {
  if (rows.rows == 0)
    return;
  if (rows.numbers.empty() || states.size() == 1) {
    fast_loop([&fold, value_of, count = rows.rows, held = states.data()] {
      State state = *held;
      for (size_t row = 0; row < count; ++row)
        fold(state, value_of(row));
      *held = state;
    });
    return;
  }
  if (rows.runs.empty())
    for (size_t row = 0; row < rows.rows; ++row)
      fold(states[rows.numbers[row]], value_of(row));
  for (const group_run &run : rows.runs) {
    State state = states[run.group];
    const size_t end = size_t{run.first} + run.rows;
    for (size_t at = run.first; at < end; ++at)
      fold(state, value_of(rows.order[at]));
    states[run.group] = state;
  }
}

// The same for a fold that may take rows in any order, and parts of the rows before their results.  Where groups are
// few, every eighth row has states of its own, since two rows of one group would wait for each other.
template <class State, class Value, class Fold>
void fold_unordered(const grouped_rows &rows, std::span<State> states, State neutral, const Value &value_of,
                    const Fold &fold) {
  constexpr size_t few_groups = 32;
  constexpr size_t parts = 8;
  if (rows.numbers.empty() || !rows.runs.empty() || states.size() == 1 || states.size() > few_groups ||
      rows.rows < parts * states.size())
    return fold_rows(rows, states, value_of, fold);
  State of_parts[parts][few_groups];
  for (State(&part)[few_groups] : of_parts)
    std::fill_n(part, states.size(), neutral);
  const uint32_t *const numbers = rows.numbers.data();
  size_t row = 0;
  for (; row + parts <= rows.rows; row += parts)
    for (size_t part = 0; part < parts; ++part)
      fold(of_parts[part][numbers[row + part]], value_of(row + part));
  for (; row < rows.rows; ++row)
    fold(of_parts[0][numbers[row]], value_of(row));
  for (const State(&part)[few_groups] : of_parts)
    for (size_t group = 0; group < states.size(); ++group)
      fold(states[group], part[group]);
}

} // namespace store::exec
