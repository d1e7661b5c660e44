#include "store/operator/join_table.hpp"

#include <numeric>

namespace store::exec {

void join_table::list_rows(std::span<const uint32_t> group_of_row, size_t groups) {
  ends_.assign(groups + 1, 0);
  for (const uint32_t group : group_of_row)
    if (group != no_row)
      ++ends_[group + 1];
  std::partial_sum(ends_.begin(), ends_.end(), ends_.begin());
  rows_.resize(ends_.back());
  std::vector<uint32_t> next(ends_.begin(), ends_.end() - 1);
  for (size_t row = 0; row < group_of_row.size(); ++row)
    if (group_of_row[row] != no_row)
      rows_[next[group_of_row[row]]++] = static_cast<uint32_t>(row);
}

std::unique_ptr<const join_table> make_join_table(const vorn_ctx &library, const built_keys &keys, group_rows asked,
                                                  arena &memory) {
  const std::optional<uint64_t> range = keys.packing().range();
  constexpr uint64_t array_range = 1 << 16;        // 256 KB
  constexpr uint64_t least_bitmap_range = 1 << 22; // 1 MB
  constexpr uint64_t bitmap_range_per_row = 128;   // 32 bytes a row, as much as a hash table needs
  if (range && *range <= std::max<uint64_t>(array_range, 2 * keys.rows()))
    return make_array_table(keys, asked, memory);
  if (range && *range <= std::max<uint64_t>(least_bitmap_range, bitmap_range_per_row * keys.rows()))
    return make_bitmap_table(keys, asked, memory);
  return make_hash_join_table(library, keys, asked, memory);
}

} // namespace store::exec
