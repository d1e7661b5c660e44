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

std::unique_ptr<const join_table> make_join_table(const vorn_ctx &library, key_packing &packing,
                                                  std::span<const vector> columns, size_t rows, group_rows wanted,
                                                  double probed_rows, arena &memory) {
  const built_keys keys(packing, columns, rows);
  // A bitmap needs a quarter of a byte for each word of the range.  The hash table needs more than 32 bytes for a row.
  // A look-up in the hash table costs more: as much as the bitmap of some hundred words.
  constexpr uint64_t words_per_row = 128;
  constexpr double words_per_probe = 32;
  constexpr double most_for_probes = uint64_t{1} << 28; // 64 MB
  const uint64_t bitmap_range =
      std::max(words_per_row * rows, static_cast<uint64_t>(std::min(words_per_probe * probed_rows, most_for_probes)));
  constexpr uint64_t array_range = uint64_t{1} << 16; // 256 KB
  const std::optional<uint64_t> range = packing.range();
  if (range && *range <= std::max<uint64_t>(array_range, 2 * rows))
    return make_array_table(keys, wanted, memory);
  if (range && *range <= bitmap_range)
    return make_bitmap_table(keys, wanted, memory);
  if (packing.separate(bitmap_range)) {
    if (std::unique_ptr<const join_table> made = make_list_table(keys, wanted, memory))
      return made;
    packing.unite();
  }
  return make_hash_join_table(library, keys, wanted, memory);
}

} // namespace store::exec
