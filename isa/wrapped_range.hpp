// Ranges for the comparisons of engines.  Numbers of W bits wrap around, so the complement of a range is a range too.
// Every predicate except one is then a single comparison.
#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/bits.hpp"
#include "generic/scan/predicate.hpp"

namespace vorn {

// x matches if x - low <= span modulo 2^W and, with `nonzero`, x is not 0.  With `none`, no number matches.
struct wrapped_range {
  uint64_t low, span;
  bool none, nonzero;
};

// A range of values with a second sort key, the length code: the pairs from (low, low_code) to (high, high_code), both
// included.  With `outside`, the range is all other pairs.
struct pair_interval {
  uint64_t low, high;
  uint8_t low_code, high_code;
  bool none, outside; // none: no pair lies inside
};

// The length codes of rows.  They are packed, or all rows share one code.
struct code_source {
  const uint8_t *packed;
  unsigned bits;          // of a code
  const uint8_t *uniform; // the shared code, or null
};

} // namespace vorn

namespace vorn::inline VORN_LEVEL {

// The numbers of `width` bits that lie in an interval.  The bounds of the interval may be wider.
template <class Number>
constexpr wrapped_range wrapped_range_of(const interval<Number> &predicate, unsigned width) {
  const uint64_t top = low_bits(width);
  const auto low = static_cast<uint64_t>(predicate.low), span = static_cast<uint64_t>(predicate.span);
  if (!predicate.outside)
    return {low, std::min(span, top - low), low > top, false};
  if (low > top)
    return {0, top, false, predicate.nonzero};
  return {(low + span + 1) & top, top - span - 1, span >= top, predicate.nonzero};
}

// The same for pairs.  A number holds a value of `width` bits above its length code.
template <class Number>
constexpr pair_interval pairs_of(const interval<Number> &predicate, unsigned width) {
  const uint64_t top = low_bits(width);
  const auto high = static_cast<Number>(predicate.low + predicate.span);
  const auto low_value = static_cast<uint64_t>(predicate.low >> 8), high_value = static_cast<uint64_t>(high >> 8);
  const bool beyond = high_value > top; // all pairs lie below the upper bound
  return {low_value,
          beyond ? top : high_value,
          static_cast<uint8_t>(predicate.low),
          beyond ? uint8_t{255} : static_cast<uint8_t>(high),
          predicate.low >> 8 > top, // compares all bits, which may be more than 64
          predicate.outside};
}

} // namespace vorn::inline VORN_LEVEL
