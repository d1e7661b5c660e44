// The ten predicates, plain and with NULL, as one predicate on an unsigned number: is it in an interval?
#pragma once

#include <cstdint>

#include "frame/vorn.h"
#include "generic/scan/collect.hpp"

namespace vorn::inline VORN_LEVEL {

// Of a comparison: those with two constants are the last ones.
constexpr bool is_range(unsigned opcode) { return opcode >= VORN_OPC_GT_LT; }

// Has a predicate one answer for every row?
enum class constant_result { no, none_match, all_match };

// x matches when (x - low <= span) differs from `outside` and, with `nonzero`, x is not 0.  The bounds fit the width of
// the numbers, so that the difference may be taken in any lane that holds one.
template <class Number>
struct interval {
  Number low;
  Number span;
  bool outside; // the complement: ne, and the empty set
  bool nonzero; // ne with NULL: two points are cut out

  constexpr bool contains(Number x) const {
    const bool inside = x - low <= span;
    const bool cut_out = nonzero & (x == 0);
    return (inside != outside) & !cut_out; // no branch: the answer is the caller's selectivity
  }

  // One bit for each of 64 numbers; code(i) gives number i.
  template <class Lane, class Code>
  uint64_t match64(Code code) const {
    const auto in_range = [&](Lane from, Lane length) {
      // The baseline has no vector compare of 64-bit numbers.
      return collect64<(sizeof(Lane) < 8)>(
          [&](unsigned i) { return static_cast<uint8_t>(static_cast<Lane>(code(i) - from) <= length); });
    };
    uint64_t word = in_range(static_cast<Lane>(low), static_cast<Lane>(span));
    if (outside)
      word = ~word;
    if (nonzero)
      word &= in_range(1, static_cast<Lane>(~Lane{0} - 1));
    return word;
  }

  // Rows are read even where no number, or every number, lies inside.
  static constexpr constant_result folds_to(Number /*max*/) { return constant_result::no; }
};

// The numbers from 0 to max that satisfy `opcode` with the constant c, or lo and hi of a range.  With nulls, 0 stands
// for NULL and satisfies nothing.
template <class Number>
constexpr interval<Number> normalise(unsigned opcode, bool nulls, Number max, Number c, Number hi) {
  Number low = nulls ? 1 : 0;
  Number high = max;
  bool empty = false;
  const auto at_least = [&](Number bound) { low = bound > low ? bound : low; };
  const auto at_most = [&](Number bound) { high = bound < high ? bound : high; };
  const auto above = [&](Number bound) { bound == ~Number{0} ? void(empty = true) : at_least(bound + 1); };
  const auto below = [&](Number bound) { bound == 0 ? void(empty = true) : at_most(bound - 1); };

  switch (opcode) {
  case VORN_OPC_EQ:
    at_least(c), at_most(c);
    break;
  case VORN_OPC_LT:
    below(c);
    break;
  case VORN_OPC_GT:
    above(c);
    break;
  case VORN_OPC_LE:
    at_most(c);
    break;
  case VORN_OPC_GE:
    at_least(c);
    break;
  case VORN_OPC_NE:
    if (c >= low && c <= high)
      return {.low = c, .span = 0, .outside = true, .nonzero = nulls};
    break;
  case VORN_OPC_GT_LT:
    above(c), below(hi);
    break;
  case VORN_OPC_GT_LE:
    above(c), at_most(hi);
    break;
  case VORN_OPC_GE_LT:
    at_least(c), below(hi);
    break;
  default:
    at_least(c), at_most(hi);
    break;
  }
  if (empty || low > high)
    return {.low = 0, .span = max, .outside = true, .nonzero = false};
  return {.low = low, .span = high - low, .outside = false, .nonzero = false};
}

} // namespace vorn::inline VORN_LEVEL
