// Tests of rows: the rows from a start on, or the rows of a filter.  A result has a bit for each row that passes.
#pragma once

#ifdef __SSE2__
  #include <emmintrin.h>
#endif

#include <algorithm>

#include "frame/operations.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/match_summary.hpp"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL {

// Rows are tested in blocks: the rows of one word of the result, or as many rows of the filter.
inline constexpr uint32_t test_block = 64;

// A bit for each byte, which is 0 or 1.
inline uint64_t bits_of(const uint8_t (&bytes)[test_block]) {
  uint64_t bits = 0;
#ifdef __SSE2__
  for (unsigned group = 0; group < test_block; group += 16) {
    const __m128i top_bits = _mm_slli_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes + group)), 7);
    bits |= uint64_t{static_cast<uint32_t>(_mm_movemask_epi8(top_bits))} << group;
  }
#else
  for (unsigned group = 0; group < test_block; group += 8) // the multiplication moves 8 bytes together in the top byte
    bits |= load<uint64_t>(bytes + group) * 0x0102040810204080 >> 56 << group;
#endif
  return bits;
}

// test(passes, count, row) stores a 1 in passes[i] when row i passes and a 0 when it does not, for `count` rows; row(i)
// is the number of row i.  test_word(first, bits) may test the 64 rows from `first` on at once.  It returns false when
// it does not.
template <class Test, class TestWord>
inline uint32_t test_rows(vorn_cv &res, uint32_t nrows, vorn_aux &aux, const operation &reported, Test test,
                          TestWord test_word) {
  match_summary passed;
  if (aux.vorn_aux_filter_bv == nullptr) {
    for (uint32_t first = aux.vorn_aux_start_row; first < nrows;) {
      const uint32_t count = std::min(nrows - first, test_block - first % test_block);
      uint64_t bits;
      if (count != test_block || !test_word(first, bits)) {
        uint8_t passes[test_block] = {};
        test(passes, count, [=](uint32_t i) { return uint64_t{first} + i; });
        bits = bits_of(passes);
      }
      passed.add_word(res.vorn_cv_bv, first / 64, bits << first % 64);
      first += count;
    }
  } else {
    set(aux, reported.selective);
    vorn_lbiwv_ictx filter = iterator_over(aux.vorn_aux_filter_bv, nrows, wanted::set, aux.vorn_aux_start_row);
    uint32_t rows[test_block];
    while (const uint32_t count = next_ones(filter, rows, test_block)) {
      uint8_t passes[test_block];
      test(passes, count, [&](uint32_t i) { return uint64_t{rows[i]}; });
      for (uint32_t i = 0; i < count; ++i)
        passed.add_row(res.vorn_cv_bv, rows[i], passes[i] != 0);
    }
  }
  return passed.store_in(res);
}

} // namespace vorn::inline VORN_LEVEL
