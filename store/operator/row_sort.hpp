// Sorts row numbers by normalised keys.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "store/chunk/large_memory.hpp"
#include "store/operator/sort_keys.hpp"

namespace store::exec {

// The words and texts of all rows.  Texts are indexed by the number of their column.  The other columns are empty.
struct sort_values {
  std::vector<std::span<const uint64_t>> words;
  std::vector<vector> texts;
};

// The numbers of the rows in ascending order of the levels.  Rows that are equal keep their order.
large_vector<uint32_t> sorted_rows(std::span<const sort_level> levels, const sort_values &values, size_t rows);

} // namespace store::exec
