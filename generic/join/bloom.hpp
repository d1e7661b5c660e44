// The bloom test: one bit of a map for each hash value.
#pragma once

#include <algorithm>

#include "frame/bits.hpp"
#include "frame/operations.hpp"
#include "frame/vorn.h"
#include "generic/big_endian.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/match_summary.hpp"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL {

// The bits of the map that values of a vector ask for.  Of a 64-bit value the last four bytes count.
template <bool TwoLevels>
struct bloom_map {
  bloom_map(const vorn_cv &filter, const vorn_cv &src, uint32_t value_size)
      : map(filter.vorn_cv_bv), values(static_cast<const uint8_t *>(src.vorn_cv_vals) + value_size - 4),
        step(value_size) {
    const vorn_enc_ctx &enc = *filter.vorn_cv_encoding_context;
    mask = enc.vorn_enc_ctx_bloom_mask;
    page_shift = enc.vorn_enc_ctx_ind_shift % 32;
    page_mask = enc.vorn_enc_ctx_ind_mask;
  }

  uint64_t test(uint64_t row) const {
    const uint32_t hash = load_big<uint32_t>(values + row * step) & mask;
    const void *page = TwoLevels ? load<const void *>(map, hash >> page_shift) : map;
    const uint32_t bit = TwoLevels ? hash & page_mask : hash;
    return load<uint8_t>(page, bit / 8) >> bit % 8 & 1U;
  }

  const void *map;
  const uint8_t *values;
  uint32_t step;
  uint32_t mask;
  uint32_t page_shift;
  uint32_t page_mask;
};

// One value after the other.  An engine of a level may replace it.
struct single_tests {
  // Rows first to end - 1: the bits of a word are collected before they are set.
  template <class Map>
  static match_summary test_range(const Map &map, uint64_t *bv, uint32_t first, uint32_t end) {
    match_summary passed;
    for (uint64_t row = first; row < end;) {
      const uint64_t word_end = std::min<uint64_t>(end, (row / 64 + 1) * 64);
      const uint64_t word = row / 64;
      uint64_t bits = 0;
      for (; row < word_end; ++row)
        bits |= map.test(row) << row % 64;
      passed.add_word(bv, word, bits);
    }
    return passed;
  }

  template <class Map>
  static match_summary test_rows(const Map &map, uint64_t *bv, vorn_lbiwv_ictx rows) {
    match_summary passed;
    uint32_t batch[64];
    uint32_t count;
    do {
      count = next_ones(rows, batch, 64);
      for (uint32_t i = 0; i < count; ++i)
        passed.add_row(bv, batch[i], map.test(batch[i]) != 0);
    } while (count == 64);
    return passed;
  }
};

// Selective: of the rows of a filter.
template <class Pass>
uint32_t bloom(bool selective, uint32_t value_size, vorn_cv &res, const vorn_cv &src, const vorn_cv &filter,
               vorn_aux &aux) {
  const uint32_t nrows = src.vorn_cv_nrows;
  const auto test = [&](const auto &map) {
    if (!selective)
      return Pass::test_range(map, res.vorn_cv_bv, aux.vorn_aux_start_row, nrows);
    set(aux, operations::bloom.selective);
    return Pass::test_rows(map, res.vorn_cv_bv,
                           iterator_over(aux.vorn_aux_filter_bv, nrows, wanted::set, aux.vorn_aux_start_row));
  };
  const bool two_levels = filter.vorn_cv_encoding_context->vorn_enc_ctx_bloom_ind != 0;
  return (two_levels ? test(bloom_map<true>(filter, src, value_size)) : test(bloom_map<false>(filter, src, value_size)))
      .store_in(res);
}

} // namespace vorn::inline VORN_LEVEL
