// Codes in a wrapped range: a difference and one comparison.  A code stands at the top of its lane, so the bits below
// it count less than one.
#pragma once

#include "isa/bits.hpp"
#include "isa/select.hpp"
#include "isa/wrapped_range.hpp"

namespace vorn::inline VORN_LEVEL {

// If the instruction compares signed numbers, the inverted sign bit of both sides makes the comparison unsigned.
template <class Lanes, bool Nonzero>
class in_wrapped_range {
  using operations = typename Lanes::operations;

public:
  in_wrapped_range(unsigned spare, const wrapped_range &range)
      : low_(operations::all(range.low << spare ^ operations::sign)),
        span_(operations::all((range.span << spare | low_bits(spare)) ^ operations::sign)),
        code_(operations::all(UINT64_MAX << spare)) {}

  auto operator()(vector x) const {
    const vector distance = operations::subtract(x, low_);
    if constexpr (Nonzero)
      return operations::at_most(operations::common(x, code_), distance, span_);
    else
      return operations::at_most(distance, span_);
  }

private:
  vector low_, span_, code_;
};

template <class Lanes, bool Nonzero>
[[gnu::noinline]] uint32_t select_range_in(unsigned width, const uint8_t *stream, uint32_t nrows,
                                           const wrapped_range &range, uint64_t *out) {
  const Lanes lanes(width);
  return select_codes(lanes, stream, nrows, in_wrapped_range<Lanes, Nonzero>(lanes.spare(), range), out);
}

// Widths are 1 to 20, 24, 32, 40, 48, 56 and 64.
[[gnu::noinline]] inline uint32_t select_range(unsigned width, const uint8_t *stream, uint32_t nrows,
                                               const wrapped_range &range, uint64_t *out) {
  if (width == 1) {
    const auto selects = [&](unsigned code) {
      return !range.none && ((code - range.low) & 1) <= range.span && !(range.nonzero && code == 0);
    };
    return select_bits(stream, nrows, selects(0), selects(1), out);
  }
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  return with_top_lanes(width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) {
    return (range.nonzero ? select_range_in<Lanes, true> : select_range_in<Lanes, false>) (width, stream, nrows, range,
                                                                                           out);
  });
}

} // namespace vorn::inline VORN_LEVEL
