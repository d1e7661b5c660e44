#include "store/operator/grouped_rows.hpp"

#include <algorithm>

namespace store::exec {

namespace {

// With more groups, or fewer rows of a group, sorting costs more than it saves.
constexpr size_t most_sorted_groups = 64;
constexpr size_t least_rows_of_group = 4;

} // namespace

grouped_rows with_runs(std::span<const uint32_t> numbers, uint32_t rows, size_t groups, arena &memory) {
  grouped_rows out{rows, numbers, {}, {}};
  if (rows == 0)
    return out;
  if (numbers.empty() || groups == 1) {
    const std::span<group_run> all = memory.take<group_run>(1);
    all[0] = {0, rows};
    out.runs = all;
  } else if (groups <= most_sorted_groups && rows >= groups * least_rows_of_group) {
    // Four counters of a group, so that equal groups one after another do not wait for each other.
    uint32_t counts[4][most_sorted_groups] = {};
    size_t row = 0;
    for (; row + 4 <= rows; row += 4)
      for (size_t i = 0; i < 4; ++i)
        ++counts[i][numbers[row + i]];
    for (; row < rows; ++row)
      ++counts[0][numbers[row]];
    const std::span<group_run> runs = memory.take<group_run>(groups);
    uint32_t firsts[most_sorted_groups];
    uint32_t first = 0;
    size_t filled = 0;
    for (uint32_t group = 0; group < groups; ++group) {
      const uint32_t count = counts[0][group] + counts[1][group] + counts[2][group] + counts[3][group];
      firsts[group] = first;
      first += count;
      if (count != 0)
        runs[filled++] = {group, count};
    }
    const std::span<uint32_t> order = memory.take<uint32_t>(rows);
    for (uint32_t r = 0; r < rows; ++r)
      order[firsts[numbers[r]]++] = r;
    out.runs = runs.first(filled);
    if (filled > 1)
      out.order = order;
  }
  return out;
}

grouped_rows with_rows(const grouped_rows &from, std::span<const uint32_t> rows, size_t groups, arena &memory) {
  std::span<const uint32_t> numbers;
  if (!from.numbers.empty())
    numbers = gathered(vector(from.numbers), rows, memory).codes();
  return with_runs(numbers, static_cast<uint32_t>(rows.size()), groups, memory);
}

} // namespace store::exec
