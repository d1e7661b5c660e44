// The passes of AVX-512: with VBMI where there is some, else those of AVX2.
#pragma once

#include "isa/avx2/kernels.hpp"
#include "isa/avx512/processor.hpp"
#include "isa/vbmi/kernels.hpp"

namespace vorn::inline VORN_LEVEL {

struct avx512_kernels {
  static uint32_t interval(unsigned width, const uint8_t *stream, uint32_t nrows, const wrapped_range &range,
                           uint64_t *out) {
    return (has_vbmi ? vbmi_kernels::select_interval : lane_kernels::interval)(width, stream, nrows, range, out);
  }
  static unsigned interval_cost_per_row(unsigned width) {
    return has_vbmi ? cost_per_row(width) : lane_kernels::interval_cost_per_row(width);
  }

  static uint32_t members(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out) {
    return (has_vbmi ? vbmi_kernels::select_members : lane_kernels::members)(width, stream, nrows, map, out);
  }
  static unsigned member_cost_per_row(unsigned width, const uint64_t *map) {
    return has_vbmi ? cost_per_row(width) : lane_kernels::member_cost_per_row(width, map);
  }

  static uint32_t pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                        const pair_interval &range, uint64_t *out) {
    return (has_vbmi ? vbmi_kernels::select_pairs : lane_kernels::pairs)(width, values, nrows, codes, range, out);
  }
  static unsigned value_cost_per_row(unsigned width, bool with_codes) {
    return has_vbmi ? 16 : lane_kernels::value_cost_per_row(width, with_codes);
  }

  static uint32_t packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                         const wrapped_range &range, uint64_t *out) {
    return (has_vbmi ? vbmi_kernels::select_packed : lane_kernels::packed)(width, values, nrows, lens, range, out);
  }
  static uint32_t packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                               const pair_interval &range, uint64_t *out) {
    return (has_vbmi ? vbmi_kernels::select_packed_pairs : lane_kernels::packed_pairs)(width, values, nrows, lens,
                                                                                       range, out);
  }
  static unsigned packed_cost_per_row(unsigned width) {
    return has_vbmi ? 64 : lane_kernels::packed_cost_per_row(width);
  }

private:
  static unsigned cost_per_row(unsigned width) { return width <= 8 ? 128 : width <= 16 ? 64 : width <= 32 ? 32 : 16; }
};

} // namespace vorn::inline VORN_LEVEL
