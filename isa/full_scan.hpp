// Whether all rows are asked for those of a filter.
#pragma once

#include <algorithm>

#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

// Does a filter select more than one row of so many, as far as its first words tell?
inline bool prefers_full_scan(const uint64_t *filter, uint32_t nrows, uint64_t cost_per_row) {
  const uint64_t words = std::min<uint64_t>(words_of(nrows), 64);
  uint64_t ones = 0;
  for (uint64_t word = 0; word < words; ++word)
    ones += popcount(filter[word]);
  return cost_per_row * ones > 64 * words;
}

} // namespace vorn::inline VORN_LEVEL
