// Whether it pays to ask all rows instead of those of a filter.
#pragma once

#include <cstdint>

#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

// A row by itself takes about as long as `rows` of them in vectors.
inline bool is_dense(const uint64_t *filter, uint32_t nrows, uint32_t rows) {
  uint64_t ones = 0;
  for (uint64_t word = 0; word < words_of(nrows); ++word)
    ones += popcount(filter[word]);
  return rows * ones > nrows;
}

} // namespace vorn::inline VORN_LEVEL
