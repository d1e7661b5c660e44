// Evaluation of a comparison over an encoded column, a batch of rows at a time.
#pragma once

#include <cstdint>

#include "frame/vorn.h"
#include "store/aligned.hpp"
#include "store/column.hpp"
#include "store/condition.hpp"

namespace store {

// The selected rows, one bit each, and their number.
struct selection {
  aligned_vector<uint64_t> words;
  uint64_t count = 0;

  bool contains(uint64_t row) const { return (words[row / 64] >> (row % 64) & 1) != 0; }
  friend bool operator==(const selection &, const selection &) = default;
};

// Selects the rows of a column.  The memory of `out` is reused.
void filter(const vorn_ctx &ctx, const column &on, code_comparison compared, selection &out);

} // namespace store
