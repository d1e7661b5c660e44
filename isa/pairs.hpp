// Values with a second sort key, their length codes.  Pairs are compared by their values; where a value is that of a
// bound, the codes decide, whose answers are words of bits made beforehand.
#pragma once

#include "generic/bitvec/words.hpp"
#include "isa/wrapped_range.hpp"

namespace vorn::inline VORN_LEVEL {

// For some rows: which codes are below the lower bound's, and which above the upper one's; often none can be.
class code_answers {
public:
  static constexpr uint32_t rows = 64 * 256; // at most

  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  code_answers() {} // to be filled before it is read

  // Of nrows rows, whose codes begin with a byte.  select(width, stream, nrows, ring, words) asks packed codes.
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

// Calls select(first row, rows, words) for the pieces of which the answers of codes are kept.
template <class Select>
uint32_t select_pieces(uint32_t nrows, const pair_interval &range, uint64_t *out, Select select) {
  if (range.none) {
    std::fill_n(out, words_of(nrows), 0);
    return 0;
  }
  uint32_t count = 0;
  for (uint32_t first = 0; first < nrows; first += std::min(code_answers::rows, nrows - first))
    count += select(first, std::min(code_answers::rows, nrows - first), out + first / 64);
  return count;
}

} // namespace vorn::inline VORN_LEVEL
