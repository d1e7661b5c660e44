// The bounds of pairs in vectors.
#pragma once

#include "isa/pairs.hpp"
#include "isa/vbmi/kernels.hpp"
#include "isa/vbmi/select.hpp"

namespace vorn::inline VORN_LEVEL {

// The bounds in the lanes of values.
template <class Lanes>
class pair_bounds {
  using operations = typename Lanes::operations;

public:
  explicit pair_bounds(const pair_interval &range)
      : low_(operations::all(range.low)), high_(operations::all(range.high)),
        span_(operations::all(range.high - range.low)), outside_(range.outside ? UINT64_MAX : 0) {}

  // The answers for the values of 64 rows: value(v) is vector v of them.
  template <class Value>
  [[gnu::always_inline]] uint64_t match(Value value, uint64_t below, uint64_t above) const {
    const uint64_t inside = collect_masks<Lanes>(
        [&](unsigned v) { return operations::at_most(operations::subtract(value(v), low_), span_); });
    const uint64_t lowest = collect_masks<Lanes>([&](unsigned v) { return operations::equal(value(v), low_); });
    const uint64_t highest = collect_masks<Lanes>([&](unsigned v) { return operations::equal(value(v), high_); });
    return (inside & ~(lowest & below) & ~(highest & above)) ^ outside_;
  }

private:
  __m512i low_, high_, span_;
  uint64_t outside_;
};

} // namespace vorn::inline VORN_LEVEL
