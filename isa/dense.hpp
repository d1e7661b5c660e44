// Whether all rows are asked for those of a filter.
#pragma once

#include <algorithm>

#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

// Does a filter select more than one row of so many, as far as its first words tell?
inline bool is_dense(const uint64_t *filter, uint32_t nrows, uint64_t row_cost) {
  const uint64_t words = std::min<uint64_t>(words_of(nrows), 64);
  uint64_t ones = 0;
  for (uint64_t word = 0; word < words; ++word)
    ones += popcount(filter[word]);
  return row_cost * ones > 64 * words;
}

} // namespace vorn::inline VORN_LEVEL
