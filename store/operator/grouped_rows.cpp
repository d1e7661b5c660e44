#include "store/operator/grouped_rows.hpp"

#include <utility>

namespace store::exec {

namespace {

// With more groups, or fewer rows of a group, sorting costs more than it saves.
constexpr size_t most_sorted_groups = 64;
constexpr size_t least_rows_of_group = 4;
// Rows are sorted in stretches side by side, so that equal groups one after another do not wait for each other.
constexpr size_t stretches = 8;

// A counting sort of the rows by their groups.
void sort_by_group(grouped_rows &rows, size_t groups, arena &memory) {
  const uint32_t *const numbers = rows.numbers.data();
  const uint32_t length = rows.rows / stretches;
  const auto for_each_row = [&](const auto &take) {
    for (uint32_t i = 0; i < length; ++i)
      for (uint32_t s = 0; s < stretches; ++s)
        take(s, s * length + i);
    for (uint32_t row = stretches * length; row < rows.rows; ++row)
      take(stretches - 1, row);
  };
  // The rows of each group in each stretch; then where they begin.
  uint32_t places[stretches][most_sorted_groups] = {};
  for_each_row([&](uint32_t s, uint32_t row) { ++places[s][numbers[row]]; });
  const std::span<group_run> runs = memory.take<group_run>(groups);
  uint32_t first = 0;
  size_t filled = 0;
  for (uint32_t group = 0; group < groups; ++group) {
    const uint32_t begun = first;
    for (uint32_t(&of_stretch)[most_sorted_groups] : places)
      first += std::exchange(of_stretch[group], first);
    if (first != begun)
      runs[filled++] = {group, first - begun};
  }
  rows.runs = runs.first(filled);
  if (filled == 1)
    return;
  uint32_t *const order = memory.take<uint32_t>(rows.rows).data();
  for_each_row([&](uint32_t s, uint32_t row) { order[places[s][numbers[row]]++] = row; });
  rows.order = {order, rows.rows};
}

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
    sort_by_group(out, groups, memory);
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
