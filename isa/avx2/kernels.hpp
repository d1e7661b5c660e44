// The passes of AVX2 and below, by the width of a code or value, and as how many rows in lanes a row by itself takes.
#pragma once

#include "generic/big_endian.hpp"
#include "isa/avx2/members.hpp"
#include "isa/avx2/packed.hpp"

namespace vorn::inline VORN_LEVEL {

struct lane_kernels {
  static constexpr auto interval = select_range;
  static unsigned interval_cost_per_row(unsigned width) {
    return width <= 8 ? 48 : width <= 16 ? 40 : width <= 32 ? 20 : 10;
  }

  static constexpr auto members = select_members;
  // Above 20 bits a map is larger than a cache and every look-up counts; above 24 nothing else does.
  static unsigned member_cost_per_row(unsigned width, const uint64_t *map) {
    if (width > 8)
      return width > 24 ? 0 : width > 20 ? 1 : 6;
    return small_map::readable(width, map) ? 48 : 0;
  }

  static constexpr auto pairs = select_pairs;
  static unsigned value_cost_per_row(unsigned width, bool with_codes) { return 640 / width / (with_codes ? 2 : 1); }

  static uint32_t packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                         const wrapped_range &range, uint64_t *out) {
    const auto kernel = width == 16 ? select_packed<16> : width == 32 ? select_packed<32> : select_packed<64>;
    return kernel(values, nrows, lens, range, out);
  }
  static uint32_t packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                               const pair_interval &range, uint64_t *out) {
    const auto kernel = width == 16   ? select_packed_pairs<16>
                        : width == 32 ? select_packed_pairs<32>
                                      : select_packed_pairs<64>;
    return kernel(values, nrows, lens, range, out);
  }
  static unsigned packed_cost_per_row(unsigned width) { return 1024 / width; }
};

} // namespace vorn::inline VORN_LEVEL
