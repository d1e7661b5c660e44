// The rows of a result that tells them by bits, their number, and the first and the last one.
#pragma once

#include "frame/bits.hpp"
#include "frame/vorn.h"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL {

struct match_summary {
  uint32_t count = 0;
  uint32_t first = UINT32_MAX;
  uint32_t last = UINT32_MAX;

  // The bits of 64 rows; the rows of a call come in ascending order.
  void add_word(uint64_t *bv, uint64_t word, uint64_t bits) {
    bv[word] |= bits;
    if (bits == 0)
      return;
    const auto first_row = static_cast<uint32_t>(word * 64);
    if (count == 0)
      first = first_row + static_cast<uint32_t>(__builtin_ctzll(bits));
    last = first_row + 63 - static_cast<uint32_t>(__builtin_clzll(bits));
    count += popcount(bits);
  }

  // One row, without a branch on whether it passes, which nobody can predict.
  void add_row(uint64_t *bv, uint32_t row, bool passes) {
    const uint32_t taken = passes ? 1 : 0;
    bv[row / 64] |= uint64_t{taken} << row % 64;
    if (taken & (count == 0 ? 1U : 0U)) // once
      first = row;
    const uint32_t mask = 0 - taken;
    last = (row & mask) | (last & ~mask);
    count += taken;
  }

  uint32_t store_in(vorn_cv &res) const {
    res.vorn_cv_popc = count;
    store<uint32_t>(res.vorn_cv_vals, first);
    store<uint32_t>(static_cast<uint8_t *>(res.vorn_cv_vals) + sizeof first, last);
    return count == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE;
  }
};

} // namespace vorn::inline VORN_LEVEL
