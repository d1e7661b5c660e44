// Values with a second sort key.  Pairs are compared by their values; where a value is that of a bound, the codes
// decide, whose answers are words of bits made beforehand.
#pragma once

#include <utility>

#include "isa/vbmi/passes.hpp"
#include "isa/vbmi/select.hpp"

namespace vorn::inline VORN_LEVEL {

// For some words of rows: which codes are as large as the lower bound's, and which are no larger than the upper one's.
class code_answers {
public:
  // They are not cleared before they are made.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  code_answers() {}

  static constexpr uint64_t words = 256;

  // Of nrows rows, at most 64 for each word, whose codes begin with a byte.
  void fill(const vbmi_passes::code_source &codes, uint64_t first_row, uint32_t nrows, const pair_interval &asked) {
    if (codes.uniform != nullptr) {
      std::fill_n(at_least, words_of(nrows), *codes.uniform >= asked.low_code ? UINT64_MAX : 0);
      std::fill_n(at_most, words_of(nrows), *codes.uniform <= asked.high_code ? UINT64_MAX : 0);
      return;
    }
    const uint64_t top = low_bits(codes.bits), low = asked.low_code, high = asked.high_code;
    const uint8_t *packed = codes.packed + first_row / 8 * codes.bits;
    vbmi_passes::select_interval[codes.bits](packed, nrows, {low, top - low, low > top, false}, at_least);
    vbmi_passes::select_interval[codes.bits](packed, nrows, {0, std::min(high, top), false, false}, at_most);
  }

  uint64_t at_least[words], at_most[words];
};

// The bounds in the lanes of values.
template <class Lanes>
class pair_bounds {
  using operations = typename Lanes::operations;

public:
  explicit pair_bounds(const pair_interval &asked)
      : low_(operations::all(asked.low)), high_(operations::all(asked.high)),
        span_(operations::all(asked.high - asked.low)), outside_(asked.outside ? UINT64_MAX : 0) {}

  // The answers for the values of 64 rows: value(v) is vector v of them.
  template <class Value>
  [[gnu::always_inline]] uint64_t match(Value value, uint64_t code_at_least, uint64_t code_at_most) const {
    const uint64_t inside = collect_masks<Lanes>(
        [&](unsigned v) { return operations::at_most(operations::subtract(value(v), low_), span_); });
    const uint64_t lowest = collect_masks<Lanes>([&](unsigned v) { return operations::equal(value(v), low_); });
    const uint64_t highest = collect_masks<Lanes>([&](unsigned v) { return operations::equal(value(v), high_); });
    return (inside & (~lowest | code_at_least) & (~highest | code_at_most)) ^ outside_;
  }

private:
  __m512i low_, high_, span_;
  uint64_t outside_;
};

// Calls select(first row, rows, words) for the pieces of which the answers of codes are kept.
template <class Select>
uint32_t select_pieces(uint32_t nrows, const pair_interval &asked, uint64_t *out, Select select) {
  if (asked.none) {
    std::fill_n(out, words_of(nrows), 0);
    return 0;
  }
  constexpr uint32_t piece = 64 * code_answers::words;
  uint32_t count = 0;
  for (uint32_t first = 0; first < nrows; first += std::min(piece, nrows - first))
    count += select(first, std::min(piece, nrows - first), out + first / 64);
  return count;
}

} // namespace vorn::inline VORN_LEVEL
