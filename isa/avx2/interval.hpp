// Codes in an interval: a difference and one comparison.  A code stands at the top of its lane, where what is below it
// counts less than one.
#pragma once

#include "isa/avx2/bits.hpp"
#include "isa/avx2/select.hpp"
#include "isa/ring.hpp"

namespace vorn::inline VORN_LEVEL {

// The comparison is one of signed numbers, so that distances are taken from half of all numbers below.
template <unsigned W, bool Nonzero>
class in_ring {
  using lanes = code_lanes<W>;
  using operations = typename lanes::operations;
  static constexpr uint64_t sign = uint64_t{1} << (lanes::bits - 1);

public:
  explicit in_ring(const ring &asked)
      : low_(operations::all(asked.low << lanes::spare ^ sign)),
        span_(operations::all((asked.span << lanes::spare | low_bits(lanes::spare)) ^ sign)),
        code_(operations::all(low_bits(W) << lanes::spare)) {}

  vector operator()(vector x) const {
    const vector misses = operations::greater(operations::subtract(x, low_), span_);
    return Nonzero ? misses | operations::equal(x & code_, none()) : misses;
  }

private:
  vector low_, span_, code_;
};

template <unsigned W>
[[gnu::noinline]] uint32_t select_ring(const uint8_t *stream, uint32_t nrows, const ring &asked, uint64_t *out) {
  if (asked.none) {
    std::fill_n(out, words_of(nrows), 0);
    return 0;
  }
  return asked.nonzero ? select_codes<code_lanes<W>>(stream, nrows, in_ring<W, true>(asked), out)
                       : select_codes<code_lanes<W>>(stream, nrows, in_ring<W, false>(asked), out);
}

template <>
inline uint32_t select_ring<1>(const uint8_t *stream, uint32_t nrows, const ring &asked, uint64_t *out) {
  const auto takes = [&](unsigned code) {
    return !asked.none && ((code - asked.low) & 1) <= asked.span && !(asked.nonzero && code == 0);
  };
  return select_bits(stream, nrows, takes(0), takes(1), out);
}

} // namespace vorn::inline VORN_LEVEL
