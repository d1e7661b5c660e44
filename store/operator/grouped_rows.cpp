#include "store/operator/grouped_rows.hpp"

namespace store::exec {

namespace {

// Several ranges of rows are sorted in turn, row by row, so that equal keys in sequence do not wait for each other.
constexpr size_t stretches = 8;
// Each key of each range has room for all rows of the range, in cache lines of its own.
constexpr size_t lines_apart = 16;
constexpr size_t least_rows_of_group = 8;

} // namespace

sorted_runs sort_by_key(std::span<const uint32_t> of_rows, size_t keys, arena &memory) {
  const size_t rows = of_rows.size();
  const size_t length = rows / stretches;
  const size_t room = length + stretches + lines_apart;
  const std::span<uint32_t> order = memory.take<uint32_t>(room * keys * stretches);
  size_t places[stretches][most_sorted_keys];
  for (size_t s = 0; s < stretches; ++s)
    for (size_t key = 0; key < keys; ++key)
      places[s][key] = (key * stretches + s) * room;
  for (size_t i = 0; i < length; ++i)
    for (size_t s = 0; s < stretches; ++s) {
      const size_t row = s * length + i;
      order[places[s][of_rows[row]]++] = static_cast<uint32_t>(row);
    }
  for (size_t row = stretches * length; row < rows; ++row)
    order[places[stretches - 1][of_rows[row]]++] = static_cast<uint32_t>(row);
  const std::span<group_run> runs = memory.take<group_run>(keys * stretches);
  size_t filled = 0;
  for (size_t key = 0; key < keys; ++key)
    for (size_t s = 0; s < stretches; ++s) {
      const size_t first = (key * stretches + s) * room;
      if (places[s][key] != first)
        runs[filled++] = {static_cast<uint32_t>(key), static_cast<uint32_t>(first),
                          static_cast<uint32_t>(places[s][key] - first)};
    }
  return {runs.first(filled), order};
}

grouped_rows with_runs(std::span<const uint32_t> numbers, uint32_t rows, size_t groups, arena &memory) {
  grouped_rows out{rows, numbers, {}, {}};
  if (!numbers.empty() && groups > 1 && groups <= most_sorted_keys && rows >= groups * least_rows_of_group) {
    const sorted_runs sorted = sort_by_key(numbers, groups, memory);
    out.runs = sorted.runs;
    out.order = sorted.order;
  }
  return out;
}

} // namespace store::exec
