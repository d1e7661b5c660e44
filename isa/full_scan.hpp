// Whether a scan of all rows is faster than a visit of the rows of a filter.
#pragma once

#include <algorithm>

#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

// A visited row takes as long as cost_per_row rows of a full scan.  The first words of the filter are a sample: the
// full scan is preferred if the sample has more than one selected row in cost_per_row rows.
inline bool prefers_full_scan(const uint64_t *filter, uint32_t nrows, uint64_t cost_per_row) {
  const uint64_t words = std::min<uint64_t>(words_of(nrows), 64);
  uint64_t ones = 0;
  for (uint64_t word = 0; word < words; ++word)
    ones += popcount(get_word(filter, word));
  return cost_per_row * ones > 64 * words;
}

} // namespace vorn::inline VORN_LEVEL
