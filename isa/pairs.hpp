// Values with a second sort key, the length code.  Pairs are compared by their values.  If a value equals the value of
// a bound, the length code decides.  The codes are compared first, and their answers are words of bits.
#pragma once

#include "isa/interval.hpp"

namespace vorn::inline VORN_LEVEL {

// The answers for some rows: which codes lie below the code of the lower bound, and which above the code of the upper
// bound.
class code_answers {
public:
  static constexpr uint32_t rows = 64 * 256; // at most

  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  code_answers() {} // fill is called before the answers are read

  // Fills the answers for nrows rows.  Their codes begin with a byte.
  void fill(const code_source &codes, uint64_t first_row, uint32_t nrows, const pair_interval &range) {
    const uint64_t top = low_bits(codes.bits), low = range.low_code, high = range.high_code;
    if (codes.uniform != nullptr) {
      std::fill_n(below, words_of(nrows), *codes.uniform < low ? UINT64_MAX : 0);
      std::fill_n(above, words_of(nrows), *codes.uniform > high ? UINT64_MAX : 0);
      return;
    }
    const uint8_t *packed = codes.packed + first_row / 8 * codes.bits;
    select_range(codes.bits, packed, nrows, {0, std::min(low - 1, top), low == 0, false}, below);
    select_range(codes.bits, packed, nrows, {high + 1, top - high - 1, high >= top, false}, above);
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

// The bounds of pairs in lanes.  The lanes of values have zeros below the values.
template <class Lanes>
class pair_bounds {
  using operations = typename Lanes::operations;

public:
  pair_bounds(unsigned spare, const pair_interval &range)
      : low_(operations::all(range.low << spare)), high_(operations::all(range.high << spare)),
        start_(operations::all(range.low << spare ^ operations::sign)),
        span_(operations::all((range.high - range.low) << spare ^ operations::sign)),
        outside_(range.outside ? UINT64_MAX : 0) {}

  // The result word for the values of 64 rows.  value(group, v) is vector v of a group.
  template <class Value>
  [[gnu::always_inline]] uint64_t match(Value value, uint64_t below, uint64_t above) const {
    const uint64_t inside = word_of<Lanes>([&](unsigned group, auto v) {
      return operations::at_most(operations::subtract(value(group, v), start_), span_);
    });
    const uint64_t not_lowest =
        word_of<Lanes>([&](unsigned group, auto v) { return operations::different(value(group, v), low_); });
    const uint64_t not_highest =
        word_of<Lanes>([&](unsigned group, auto v) { return operations::different(value(group, v), high_); });
    return (inside & (not_lowest | ~below) & (not_highest | ~above)) ^ outside_;
  }

private:
  vector low_, high_, start_, span_;
  uint64_t outside_;
};

template <class Lanes>
[[gnu::noinline]] uint32_t select_pairs_in(unsigned width, const uint8_t *values, uint32_t nrows,
                                           const code_source &codes, const pair_interval &range, uint64_t *out) {
  const Lanes lanes(width);
  const pair_bounds<Lanes> bounds(lanes.spare(), range);
  code_answers answers;
  return select_pieces(nrows, range, out, [&](uint32_t first, uint32_t rows, uint64_t *words) {
    answers.fill(codes, first, rows, range);
    const auto match = [&](uint64_t word, const uint8_t *block) {
      return bounds.match(
          [&](unsigned group, auto v) __attribute__((always_inline)) { return lanes.top(block, group, v); },
          answers.below[word], answers.above[word]);
    };
    return select_words(lanes, values + uint64_t{first} / 8 * width, rows, match, words);
  });
}

// Selects fixed values of whole bytes.
inline uint32_t select_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                             const pair_interval &range, uint64_t *out) {
  const auto select = width == 8    ? select_pairs_in<value_lanes<uint8_t>>
                      : width == 16 ? select_pairs_in<value_lanes<uint16_t>>
                      : width <= 32 ? select_pairs_in<value_lanes<uint32_t>>
                                    : select_pairs_in<value_lanes<uint64_t>>;
  return select(width, values, nrows, codes, range, out);
}

} // namespace vorn::inline VORN_LEVEL
