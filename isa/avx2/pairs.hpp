// Values with a second sort key, compared in vectors.
#pragma once

#include "isa/avx2/interval.hpp"
#include "isa/pairs.hpp"

namespace vorn::inline VORN_LEVEL {

// The bounds in the lanes of values, which have zeros below them.
template <class Lanes>
class pair_bounds {
  using operations = typename Lanes::operations;
  static constexpr uint64_t sign = uint64_t{1} << (Lanes::bits - 1);

public:
  pair_bounds(unsigned spare, const pair_interval &range)
      : low_(operations::all(range.low << spare)), high_(operations::all(range.high << spare)),
        start_(operations::all(range.low << spare ^ sign)),
        span_(operations::all((range.high - range.low) << spare ^ sign)), outside_(range.outside ? UINT64_MAX : 0) {}

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

template <class Lanes>
[[gnu::noinline]] uint32_t select_pairs_in(unsigned width, const uint8_t *values, uint32_t nrows,
                                           const code_source &codes, const pair_interval &range, uint64_t *out) {
  const Lanes lanes(width);
  const pair_bounds<Lanes> bounds(lanes.spare(), range);
  code_answers answers;
  return select_pieces(nrows, range, out, [&](uint32_t first, uint32_t rows, uint64_t *words) {
    answers.fill(codes, first, rows, range, select_range);
    const auto match = [&](uint64_t word, const uint8_t *block) {
      return bounds.match(
          [&](unsigned group, auto v) __attribute__((always_inline)) { return lanes.top(block, group, v); },
          answers.below[word], answers.above[word]);
    };
    return select_words(lanes, values + uint64_t{first} / 8 * width, rows, match, words);
  });
}

// Fixed values of a width.
inline uint32_t select_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                             const pair_interval &range, uint64_t *out) {
  using enum code_form;
  const auto select = width == 8    ? select_pairs_in<code_lanes<uint8_t, whole>>
                      : width == 16 ? select_pairs_in<code_lanes<uint16_t, whole>>
                      : width <= 32 ? select_pairs_in<code_lanes<uint32_t, whole>>
                                    : select_pairs_in<code_lanes<uint64_t, whole>>;
  return select(width, values, nrows, codes, range, out);
}

} // namespace vorn::inline VORN_LEVEL
