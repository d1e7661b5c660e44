// An interval as engines compare it: numbers of W bits wrap around, so that the complement of an interval is one too,
// and every predicate but one is a single comparison.
#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/bits.hpp"
#include "generic/scan/predicate.hpp"

namespace vorn {

// x matches when x - low <= span modulo 2^W and, with `nonzero`, x is not 0; none matches with `none`.
struct wrapped_range {
  uint64_t low, span;
  bool none, nonzero;
};

// Values with a second sort key, a length code: the pairs from (low, low_code) to (high, high_code), both included, or
// with `outside` all others.
struct pair_interval {
  uint64_t low, high;
  uint8_t low_code, high_code;
  bool none, outside; // none lies inside
};

// The length codes of rows: packed, or the one of all rows where they have one.
struct code_source {
  const uint8_t *packed;
  unsigned bits; // of a code
  const uint8_t *uniform;
};

} // namespace vorn

namespace vorn::inline VORN_LEVEL {

// The numbers of W bits of an interval, whose bounds may lie above them.
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

// The same for numbers that are pairs: the value, of a width, above the length code.
template <class Number>
constexpr pair_interval pairs_of(const interval<Number> &predicate, unsigned width) {
  const uint64_t top = low_bits(width);
  const auto high = static_cast<Number>(predicate.low + predicate.span);
  const auto low_value = static_cast<uint64_t>(predicate.low >> 8), high_value = static_cast<uint64_t>(high >> 8);
  const bool beyond = high_value > top; // every value with every code is below
  return {low_value,
          beyond ? top : high_value,
          static_cast<uint8_t>(predicate.low),
          beyond ? uint8_t{255} : static_cast<uint8_t>(high),
          predicate.low >> 8 > top, // in all its bits, which may be more than 64
          predicate.outside};
}

} // namespace vorn::inline VORN_LEVEL
