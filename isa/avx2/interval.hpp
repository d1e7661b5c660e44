// Codes in an interval: a difference and one comparison.  A code stands at the top of its lane, where what is below it
// counts less than one.
#pragma once

#include "isa/avx2/bits.hpp"
#include "isa/avx2/select.hpp"
#include "isa/ring.hpp"

namespace vorn::inline VORN_LEVEL {

// The comparison is one of signed numbers, so that distances are taken from half of all numbers below.
template <class Lanes, bool Nonzero>
class in_ring {
  using operations = typename Lanes::operations;
  static constexpr uint64_t sign = uint64_t{1} << (Lanes::bits - 1);

public:
  in_ring(unsigned spare, const ring &asked)
      : low_(operations::all(asked.low << spare ^ sign)),
        span_(operations::all((asked.span << spare | low_bits(spare)) ^ sign)),
        code_(operations::all(UINT64_MAX << spare)) {}

  vector operator()(vector x) const {
    const vector misses = operations::greater(operations::subtract(x, low_), span_);
    return Nonzero ? misses | operations::equal(x & code_, none()) : misses;
  }

private:
  vector low_, span_, code_;
};

template <class Lanes, bool Nonzero>
[[gnu::noinline]] uint32_t select_ring_in(unsigned width, const uint8_t *stream, uint32_t nrows, const ring &asked,
                                          uint64_t *out) {
  const Lanes lanes(width);
  return select_codes(lanes, stream, nrows, in_ring<Lanes, Nonzero>(lanes.spare(), asked), out);
}

[[gnu::noinline]] inline uint32_t select_ring(unsigned width, const uint8_t *stream, uint32_t nrows, const ring &asked,
                                              uint64_t *out) {
  if (width == 1) {
    const auto takes = [&](unsigned code) {
      return !asked.none && ((code - asked.low) & 1) <= asked.span && !(asked.nonzero && code == 0);
    };
    return select_bits(stream, nrows, takes(0), takes(1), out);
  }
  if (asked.none) {
    std::fill_n(out, words_of(nrows), 0);
    return 0;
  }
  return with_lanes<64>(width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) {
    return (asked.nonzero ? select_ring_in<Lanes, true> : select_ring_in<Lanes, false>) (width, stream, nrows, asked,
                                                                                         out);
  });
}

} // namespace vorn::inline VORN_LEVEL
