// The ten predicates, plain and with NULL, as one question about an unsigned number: is it in an interval?
#pragma once

#include <cstdint>

#include "frame/vorn.h"

namespace vorn {

constexpr bool is_range(unsigned opcode) { return opcode >= VORN_OPC_GT_LT && opcode <= VORN_OPC_GE_LE; }

// x matches when (x - low <= span) differs from `outside` and, with `nonzero`, x is not 0.  The bounds fit the width of
// the codes, so that the difference may be taken in any lane that holds a code.
struct interval {
  uint64_t low;
  uint64_t span;
  bool outside; // the complement: ne, and the empty set
  bool nonzero; // ne with NULL: two points are cut out

  constexpr bool contains(uint64_t x) const {
    const bool inside = x - low <= span;
    const bool cut_out = nonzero & (x == 0);
    return (inside != outside) & !cut_out; // no branch: the answer is the caller's selectivity
  }
};

// The numbers from 0 to max that satisfy `opcode` with the constant c, or lo and hi of a range.  With nulls, 0 stands
// for NULL and satisfies nothing.
constexpr interval normalise(unsigned opcode, bool nulls, uint64_t max, uint64_t c, uint64_t hi) {
  uint64_t low = nulls ? 1 : 0;
  uint64_t high = max;
  bool empty = false;
  const auto at_least = [&](uint64_t bound) { low = bound > low ? bound : low; };
  const auto at_most = [&](uint64_t bound) { high = bound < high ? bound : high; };
  const auto above = [&](uint64_t bound) { bound == UINT64_MAX ? void(empty = true) : at_least(bound + 1); };
  const auto below = [&](uint64_t bound) { bound == 0 ? void(empty = true) : at_most(bound - 1); };

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

} // namespace vorn
