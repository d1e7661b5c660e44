// Values with a second sort key, the length code.  Pairs are compared by their values.  If a value equals the value of
// a bound, the length code decides.  Few words have such a row, so the codes of a word are compared only if it has one.
#pragma once

#include "isa/interval.hpp"

namespace vorn::inline VORN_LEVEL {

// The length codes of nrows rows: which of them lie below the code of the lower bound, and which above the code of the
// upper bound.
class code_bounds {
public:
  code_bounds(const code_source &codes, uint32_t nrows, const pair_interval &range)
      : lanes_(codes.bits), blocks_(lanes_, codes.packed, nrows, codes.uniform == nullptr ? nrows : 0),
        below_(codes.bits, {0, range.low_code - 1ULL, range.low_code == 0, false}),
        above_(codes.bits, {range.high_code + 1ULL, UINT64_MAX, range.high_code >= low_bits(codes.bits), false}),
        uniform_(codes.uniform != nullptr) {
    if (uniform_) {
      below_.words = *codes.uniform < range.low_code ? UINT64_MAX : 0;
      above_.words = *codes.uniform > range.high_code ? UINT64_MAX : 0;
    }
  }

  [[gnu::always_inline]] uint64_t below(uint64_t word) const { return answers(below_, word); }
  [[gnu::always_inline]] uint64_t above(uint64_t word) const { return answers(above_, word); }

private:
  struct side {
    side(unsigned bits, const wrapped_range &range)
        : test(narrow_lanes(bits).spare(), {range.low, std::min(range.span, low_bits(bits) - range.low), false, false}),
          words(range.none ? 0 : UINT64_MAX) {}

    in_wrapped_range<narrow_lanes, false> test;
    uint64_t words; // the bits of answers that count, or the answers for the shared code
  };

  [[gnu::always_inline]] uint64_t answers(const side &of, uint64_t word) const {
    if (uniform_)
      return of.words;
    const uint8_t *block = blocks_[word];
    return of.words &
           word_of<narrow_lanes>([&](unsigned group, auto v) { return of.test(lanes_.top(block, group, v)); });
  }

  narrow_lanes lanes_;
  code_blocks<narrow_lanes> blocks_;
  side below_, above_;
  bool uniform_;
};

// The bounds of values in lanes.  The lanes of values have zeros below the values.
template <class Lanes>
class pair_bounds {
  using operations = typename Lanes::operations;

public:
  pair_bounds(unsigned spare, const pair_interval &range)
      : start_(operations::all(range.low << spare ^ operations::sign)),
        span_(operations::all((range.high - range.low) << spare ^ operations::sign)),
        outside_(range.outside ? UINT64_MAX : 0) {}

  // The result for a word of 64 rows.  value(group, v) is vector v of a group.
  template <class Value>
  [[gnu::always_inline]] uint64_t match(Value value, const code_bounds &codes, uint64_t word) const {
    range_ends<typename Lanes::number> ends;
    uint64_t inside = word_of<Lanes>([&](unsigned group, auto v) {
      const vector distance = operations::subtract(value(group, v), start_);
      ends.add(distance, span_);
      return operations::at_most(distance, span_);
    });
    if (ends.found()) [[unlikely]] {
      const vector zero = operations::all(operations::sign);
      const auto differs_by = [&](vector distance) {
        return word_of<Lanes>([&](unsigned group, auto v) {
          return operations::different(operations::subtract(value(group, v), start_), distance);
        });
      };
      inside &= (differs_by(zero) | ~codes.below(word)) & (differs_by(span_) | ~codes.above(word));
    }
    return inside ^ outside_;
  }

private:
  vector start_, span_;
  uint64_t outside_;
};

template <class Lanes>
[[gnu::noinline]] uint32_t select_pairs_in(unsigned width, const uint8_t *values, uint32_t nrows,
                                           const code_source &codes, const pair_interval &range, uint64_t *out) {
  const Lanes lanes(width);
  const pair_bounds<Lanes> bounds(lanes.spare(), range);
  const code_bounds of_codes(codes, nrows, range);
  const auto match = [&](uint64_t word, const uint8_t *block) __attribute__((always_inline)) {
    return bounds.match(
        [&](unsigned group, auto v) __attribute__((always_inline)) { return lanes.top(block, group, v); }, of_codes,
        word);
  };
  return select_words(lanes, values, nrows, match, out);
}

// Selects fixed values of whole bytes.
inline uint32_t select_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                             const pair_interval &range, uint64_t *out) {
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  const auto select = width == 8    ? select_pairs_in<value_lanes<uint8_t>>
                      : width == 16 ? select_pairs_in<value_lanes<uint16_t>>
                      : width <= 32 ? select_pairs_in<value_lanes<uint32_t>>
                                    : select_pairs_in<value_lanes<uint64_t>>;
  return select(width, values, nrows, codes, range, out);
}

} // namespace vorn::inline VORN_LEVEL
