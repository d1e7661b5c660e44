// Values with a second sort key, their length codes.  Pairs are compared by their values; where a value is that of a
// bound, the codes decide, whose answers are words of bits made beforehand.
#pragma once

#include "isa/avx2/interval.hpp"

namespace vorn::inline VORN_LEVEL {

// Length codes of rows: packed, or the one of all rows where they have one.
struct code_source {
  const uint8_t *packed;
  unsigned bits; // of a code
  const uint8_t *uniform;
};

// For some words of rows: which codes are below the lower bound's, and which above the upper one's.
class code_answers {
public:
  static constexpr uint32_t rows = 64 * 128; // at most

  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  code_answers() {} // to be filled before it is read

  void fill(const code_source &codes, uint32_t first_row, uint32_t nrows, const pair_interval &asked) {
    const uint64_t top = low_bits(codes.bits), low = asked.low_code, high = asked.high_code;
    if (codes.uniform != nullptr) {
      std::fill_n(below, words_of(nrows), *codes.uniform < low ? UINT64_MAX : 0);
      std::fill_n(above, words_of(nrows), *codes.uniform > high ? UINT64_MAX : 0);
      return;
    }
    const uint8_t *packed = codes.packed + first_row / 8 * codes.bits;
    const auto select = codes.bits == 4 ? select_ring<4> : codes.bits == 2 ? select_ring<2> : select_ring<1>;
    select(packed, nrows, {0, std::min(low - 1, top), low == 0, false}, below);
    select(packed, nrows, {high + 1, top - high - 1, high >= top, false}, above);
  }

  uint64_t below[rows / 64], above[rows / 64];
};

// The bounds in the lanes of values, which have zeros below them.
template <class Lanes>
class pair_bounds {
  using operations = typename Lanes::operations;
  static constexpr uint64_t sign = uint64_t{1} << (Lanes::bits - 1);

public:
  explicit pair_bounds(const pair_interval &asked)
      : low_(operations::all(asked.low << Lanes::spare)), high_(operations::all(asked.high << Lanes::spare)),
        start_(operations::all(asked.low << Lanes::spare ^ sign)),
        span_(operations::all((asked.high - asked.low) << Lanes::spare ^ sign)),
        outside_(asked.outside ? UINT64_MAX : 0) {}

  // The answers for the values of 64 rows: value(group, v) is vector v of a group.
  template <class Value>
  [[gnu::always_inline]] uint64_t match(Value value, uint64_t below, uint64_t above) const {
    const uint64_t inside = hits<Lanes>([&](unsigned group, auto v) {
      return operations::greater(operations::subtract(value(group, v), start_), span_);
    });
    const uint64_t not_lowest =
        hits<Lanes>([&](unsigned group, auto v) { return operations::equal(value(group, v), low_); });
    const uint64_t not_highest =
        hits<Lanes>([&](unsigned group, auto v) { return operations::equal(value(group, v), high_); });
    return (inside & (not_lowest | ~below) & (not_highest | ~above)) ^ outside_;
  }

private:
  vector low_, high_, start_, span_;
  uint64_t outside_;
};

// Calls select(first row, rows, words) for the pieces of which the answers of codes are kept.
template <class Select>
uint32_t select_pieces(uint32_t nrows, const pair_interval &asked, uint64_t *out, Select select) {
  if (asked.none) {
    std::fill_n(out, words_of(nrows), 0);
    return 0;
  }
  uint32_t count = 0;
  for (uint32_t first = 0; first < nrows; first += std::min(code_answers::rows, nrows - first))
    count += select(first, std::min(code_answers::rows, nrows - first), out + first / 64);
  return count;
}

// Fixed values of W bits.
template <unsigned W>
[[gnu::noinline]] uint32_t select_pairs(const uint8_t *values, uint32_t nrows, const code_source &codes,
                                        const pair_interval &asked, uint64_t *out) {
  using lanes = code_lanes<W>;
  const pair_bounds<lanes> bounds(asked);
  code_answers answers;
  return select_pieces(nrows, asked, out, [&](uint32_t first, uint32_t rows, uint64_t *words) {
    answers.fill(codes, first, rows, asked);
    const auto match = [&](uint64_t word, const uint8_t *block) {
      return bounds.match([&](unsigned group, auto v) { return lanes::template top<v>(block, group); },
                          answers.below[word], answers.above[word]);
    };
    return select_words<lanes>(values + uint64_t{first} * (W / 8), rows, match, words);
  });
}

} // namespace vorn::inline VORN_LEVEL
