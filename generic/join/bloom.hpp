// The bloom test: one bit of a map for each hash value.
#pragma once

#include "generic/big_endian.hpp"
#include "generic/native.hpp"
#include "generic/row_test.hpp"

namespace vorn::inline VORN_LEVEL::join {

// The map, and the hash values that select its bits.  The last four bytes of a 64-bit value count.
template <bool TwoLevels>
struct bloom_map {
  static constexpr bool two_levels = TwoLevels;

  bloom_map(const vorn_cv &filter, const vorn_cv &src, uint32_t value_size)
      : map(filter.vorn_cv_bv), values(static_cast<const uint8_t *>(src.vorn_cv_vals) + value_size - 4),
        step(value_size) {
    const vorn_enc_ctx &enc = *filter.vorn_cv_encoding_context;
    mask = enc.vorn_enc_ctx_bloom_mask;
    page_shift = enc.vorn_enc_ctx_ind_shift % 32;
    page_mask = enc.vorn_enc_ctx_ind_mask;
  }

  uint8_t test(uint64_t row) const {
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

// Tests one value after the other.  An engine of a level may replace it.
struct single_tests {
  template <class Map, class Row>
  static void test(const Map &map, uint8_t *passes, uint32_t count, Row row) {
    for (uint32_t i = 0; i < count; ++i)
      passes[i] = map.test(row(i));
  }

  // Tests the 64 rows from `first` on, if there is a faster way.
  template <class Map>
  static bool test_word(const Map &, uint64_t, uint64_t &) {
    return false;
  }
};

template <class Loop, bool TwoLevels>
[[gnu::noinline]] uint32_t bloom(uint32_t value_size, vorn_cv &res, const vorn_cv &src, const vorn_cv &filter,
                                 vorn_aux &aux) {
  const bloom_map<TwoLevels> map(filter, src, value_size);
  return test_rows(
      res, src.vorn_cv_nrows, aux, operations::bloom,
      [&](uint8_t *passes, uint32_t count, auto row) { Loop::test(map, passes, count, row); },
      [&](uint64_t first, uint64_t &bits) { return Loop::test_word(map, first, bits); });
}

} // namespace vorn::inline VORN_LEVEL::join
