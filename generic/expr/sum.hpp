// Sums of numbers, by group or of all rows.  The result depends on the order of the additions: the order of the rows.
#pragma once

#include <algorithm>

#include "generic/expr/convert.hpp"

namespace vorn::inline VORN_LEVEL::expr {

// Adds in the order of the rows.
struct ordered_sums {
  template <class Numbers>
  static void by_key(void *sums, const uint8_t *vals, const void *keys, uint32_t nrows) {
    using number = typename Numbers::number;
    // The rows that are tested for one group.  With fewer rows the test would take longer than it saves.
    constexpr uint32_t step = 64;
    const auto key = [=](uint64_t row) { return load<uint32_t>(keys, row); };
    const auto sum_at = [=](uint64_t row) {
      return static_cast<uint8_t *>(sums) + uint64_t{key(row)} * sizeof(number);
    };
    const auto add_row = [=]<class Form>(const Form & /*form*/, const uint8_t *from, uint64_t i, uint64_t row) {
      store<number>(sum_at(row), load<number>(sum_at(row)) + Form::at(from, i));
    };
    uint64_t row = 0;
    for (; row + step <= nrows; row += step) {
      if (key(row) == key(row + step - 1) &&
          one_group<step>(keys, row)) { // in a register instead of memory: a third of the time
        auto sum = load<number>(sum_at(row));
        if constexpr (Numbers::partial_rows == UINT32_MAX)
          for (uint64_t i = row; i < row + step; ++i)
            sum += Numbers::at(vals, i);
        else
          sum += static_cast<number>(sum_of<Numbers>(vals, row, row + step));
        store<number>(sum_at(row), sum);
      } else if constexpr (decodes_first<Numbers>) {
        uint8_t block[step * sizeof(number)];
        single_numbers::decode<Numbers>(block, vals + row * sizeof(number), step);
#pragma GCC unroll 16
        for (uint64_t i = 0; i < step; ++i)
          add_row(native_numbers<number>(), block, i, row + i);
      } else {
#pragma GCC unroll 16
        for (uint64_t i = 0; i < step; ++i)
          add_row(Numbers(), vals, row + i, row + i);
      }
    }
    for (; row < nrows; ++row)
      add_row(Numbers(), vals, row, row);
  }

  template <class Numbers>
  static typename Numbers::number of_all(const uint8_t *vals, uint32_t nrows) {
    if constexpr (Numbers::partial_rows == UINT32_MAX)
      return sum_of<Numbers>(vals, 0, nrows);
    typename Numbers::number sum = 0;
    for (uint64_t row = 0; row < nrows; row += Numbers::partial_rows) {
      const uint64_t end = std::min<uint64_t>(nrows, row + Numbers::partial_rows);
      sum += static_cast<typename Numbers::number>(sum_of<Numbers>(vals, row, end));
    }
    return sum;
  }

private:
  // Canonical numbers are decoded in vectors, 64 at a time.  Vectors of 16 bytes do not pay.
  template <class Numbers>
#ifdef __AVX2__
  static constexpr bool decodes_first = Numbers::is_canonical;
#else
  static constexpr bool decodes_first = false;
#endif

  template <class Numbers>
  static typename Numbers::partial_sum sum_of(const uint8_t *vals, uint64_t row, uint64_t end) {
    using partial_sum = typename Numbers::partial_sum;
    partial_sum sum = 0;
    for (; row < end; ++row)
      sum = static_cast<partial_sum>(sum + static_cast<partial_sum>(Numbers::at(vals, row)));
    return sum;
  }

  template <uint32_t Rows>
  static bool one_group(const void *keys, uint64_t first) {
    uint32_t differing = 0;
    for (uint64_t row = first + 1; row < first + Rows; ++row)
      differing |= load<uint32_t>(keys, row) ^ load<uint32_t>(keys, first);
    return differing == 0;
  }
};

// Adds to the accumulators that the keys select.  Without keys, adds the sum of all rows to the first accumulator.
template <class Numbers>
uint32_t sum(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  const auto *vals = static_cast<const uint8_t *>(src.vorn_cv_vals);
  if (keys != nullptr) {
    ordered_sums::by_key<Numbers>(res.vorn_cv_vals, vals, keys->vorn_cv_vals, src.vorn_cv_nrows);
  } else {
    using number = typename Numbers::number;
    const number all = ordered_sums::of_all<Numbers>(vals, src.vorn_cv_nrows);
    store<number>(res.vorn_cv_vals, all + load<number>(res.vorn_cv_vals));
  }
  return VORN_RESULT_DONE;
}

inline bool is_native(const vorn_cv &src) { return src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_NATIVE; }

template <class Float>
uint32_t sum_floats(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  return is_native(src) ? sum<native_numbers<Float>>(res, src, keys) : sum<canonical_numbers<Float>>(res, src, keys);
}

inline uint32_t sum_dsb(const vorn_cv &res, const vorn_cv &src, const vorn_cv *keys) {
  switch (src.vorn_cv_encoding_context->vorn_enc_ctx_width) {
  case 8:
    return sum<dsb_numbers<int8_t>>(res, src, keys);
  case 16:
    return sum<dsb_numbers<int16_t>>(res, src, keys);
  case 32:
    return sum<dsb_numbers<int32_t>>(res, src, keys);
  case 64:
    return sum<dsb_numbers<int64_t>>(res, src, keys);
  default: // numbers of other widths add nothing
    return VORN_RESULT_DONE;
  }
}

} // namespace vorn::inline VORN_LEVEL::expr
