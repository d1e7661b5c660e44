// The rows of a chunk with the numbers of their groups, the input of aggregates.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "store/chunk/fast_loop.hpp"
#include "store/chunk/vector.hpp"

namespace store::exec {

// A run of rows of one group in the order.
struct group_run {
  uint32_t group;
  uint32_t first;
  uint32_t rows;
};

// Puts rows with equal keys together in runs.  The rows of a key keep their order.  A key may have several runs.
struct sorted_runs {
  std::span<group_run> runs;
  std::span<const uint32_t> order;
};
inline constexpr size_t most_sorted_keys = 16;
// All keys are below `keys`, and `keys` is at most most_sorted_keys.
sorted_runs sort_by_key(std::span<const uint32_t> of_rows, size_t keys, arena &memory);

struct grouped_rows {
  uint32_t rows = 0;
  std::span<const uint32_t> numbers; // the group of each row; empty when all rows are in group 0
  // If groups are few and an aggregate needs the order of rows: runs of rows of one group, with the rows of a group in
  // their order.  The state of a group then stays in a register from row to row.
  std::span<const group_run> runs;
  std::span<const uint32_t> order;
};

// `groups` is greater than all numbers of groups.
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

// The same for a fold that takes rows in any order and can add partial results.  If groups are few, every eighth row
// has its own states, because two rows of one group would wait for each other.
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
