// Sums of numbers, by group or of all rows.  The result depends on the order of the additions: the order of the rows.
#pragma once

#include "generic/expr/numbers.hpp"

namespace vorn::inline VORN_LEVEL::expr {

// Adds one row after the other.  An engine of a level may replace it by a loop that adds in the same order.
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

// Adds to the accumulators that the keys select.  Without keys, adds the sum of all rows to the first accumulator.
template <class Loop, class Numbers>
uint32_t sum(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  const auto *vals = static_cast<const uint8_t *>(src.vorn_cv_vals);
  if (keys != nullptr) {
    Loop::template by_key<Numbers>(res.vorn_cv_vals, vals, keys->vorn_cv_vals, src.vorn_cv_nrows);
  } else {
    using number = typename Numbers::number;
    const number all = Loop::template of_all<Numbers>(vals, src.vorn_cv_nrows);
    store<number>(res.vorn_cv_vals, all + load<number>(res.vorn_cv_vals));
  }
  return VORN_RESULT_DONE;
}

inline bool is_native(const vorn_cv &src) { return src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_NATIVE; }

template <class Loop, class Float>
uint32_t sum_floats(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  return is_native(src) ? sum<Loop, native_numbers<Float>>(res, src, keys)
                        : sum<Loop, canonical_numbers<Float>>(res, src, keys);
}

template <class Loop>
uint32_t sum_dsb(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  switch (src.vorn_cv_encoding_context->vorn_enc_ctx_width) {
  case 8:
    return sum<Loop, dsb_numbers<int8_t>>(res, src, keys);
  case 16:
    return sum<Loop, dsb_numbers<int16_t>>(res, src, keys);
  case 32:
    return sum<Loop, dsb_numbers<int32_t>>(res, src, keys);
  case 64:
    return sum<Loop, dsb_numbers<int64_t>>(res, src, keys);
  default: // numbers of other widths add nothing
    return VORN_RESULT_DONE;
  }
}

} // namespace vorn::inline VORN_LEVEL::expr
