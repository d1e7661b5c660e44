// Sums of numbers, by group or of all.  The order of the additions is a part of the result: they go row by row.
#pragma once

#include "generic/expr/numbers.hpp"

namespace vorn::inline VORN_LEVEL {

// One row after the other.  An engine of a level may replace it by a pass that adds in the same order.
struct ordered_sums {
  template <class Numbers>
  static void by_key(void *sums, const uint8_t *vals, const void *keys, uint32_t nrows) {
    using number = typename Numbers::number;
    for (uint32_t row = 0; row < nrows; ++row) {
      auto *sum = static_cast<uint8_t *>(sums) + uint64_t{load<uint32_t>(keys, row)} * sizeof(number);
      store<number>(sum, load<number>(sum) + Numbers::at(vals, row));
    }
  }

  template <class Numbers>
  static typename Numbers::number of_all(const uint8_t *vals, uint32_t nrows) {
    typename Numbers::number sum = 0;
    for (uint32_t row = 0; row < nrows; ++row)
      sum += Numbers::at(vals, row);
    return sum;
  }
};

// Adds what is summed up to one accumulator.
template <class Number>
inline void add_to(void *accumulator, Number sum) {
  store<Number>(accumulator, sum + load<Number>(accumulator));
}

// Into the accumulators that keys select, or without keys into the first one.
template <class Pass, class Numbers>
uint32_t sum(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  const auto *vals = static_cast<const uint8_t *>(src.vorn_cv_vals);
  if (keys != nullptr)
    Pass::template by_key<Numbers>(res.vorn_cv_vals, vals, keys->vorn_cv_vals, src.vorn_cv_nrows);
  else
    add_to(res.vorn_cv_vals, Pass::template of_all<Numbers>(vals, src.vorn_cv_nrows));
  return VORN_RESULT_DONE;
}

template <class Pass>
uint32_t sum_dsb(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  switch (src.vorn_cv_encoding_context->vorn_enc_ctx_width) {
  case 8:
    return sum<Pass, dsb_numbers<int8_t>>(res, src, keys);
  case 16:
    return sum<Pass, dsb_numbers<int16_t>>(res, src, keys);
  case 32:
    return sum<Pass, dsb_numbers<int32_t>>(res, src, keys);
  case 64:
    return sum<Pass, dsb_numbers<int64_t>>(res, src, keys);
  default: // numbers of another width add nothing
    return VORN_RESULT_DONE;
  }
}

} // namespace vorn::inline VORN_LEVEL
