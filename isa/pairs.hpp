// Values with a second sort key, the length code.  Pairs are compared by their values.  If a value equals the value of
// a bound, the length code decides.  The codes are compared first, and their answers are words of bits.
#pragma once

#include "generic/bitvec/words.hpp"
#include "isa/wrapped_range.hpp"

namespace vorn::inline VORN_LEVEL {

// The answers for some rows: which codes lie below the code of the lower bound, and which above the code of the upper
// bound.
class code_answers {
public:
  static constexpr uint32_t rows = 64 * 256; // at most

  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  code_answers() {} // fill is called before the answers are read

  // Fills the answers for nrows rows.  Their codes begin with a byte.  select(width, stream, nrows, range, words)
  // compares packed codes.
  template <class Select>
  void fill(const code_source &codes, uint64_t first_row, uint32_t nrows, const pair_interval &range, Select select) {
    const uint64_t top = low_bits(codes.bits), low = range.low_code, high = range.high_code;
    if (codes.uniform != nullptr) {
      std::fill_n(below, words_of(nrows), *codes.uniform < low ? UINT64_MAX : 0);
      std::fill_n(above, words_of(nrows), *codes.uniform > high ? UINT64_MAX : 0);
      return;
    }
    const uint8_t *packed = codes.packed + first_row / 8 * codes.bits;
    select(codes.bits, packed, nrows, {0, std::min(low - 1, top), low == 0, false}, below);
    select(codes.bits, packed, nrows, {high + 1, top - high - 1, high >= top, false}, above);
  }

  uint64_t below[rows / 64], above[rows / 64];
};

// Calls select(first row, rows, words) for pieces of rows.  The answers for the codes of a piece fit in code_answers.
template <class Select>
uint32_t select_pieces(uint32_t nrows, const pair_interval &range, uint64_t *out, Select select) {
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  uint32_t count = 0;
  for (uint32_t first = 0; first < nrows; first += std::min(code_answers::rows, nrows - first))
    count += select(first, std::min(code_answers::rows, nrows - first), out + first / 64);
  return count;
}

} // namespace vorn::inline VORN_LEVEL
