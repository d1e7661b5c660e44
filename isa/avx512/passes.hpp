// The passes of AVX-512: with VBMI where there is some, else those of AVX2.
#pragma once

#include "isa/avx2/passes.hpp"
#include "isa/avx512/processor.hpp"
#include "isa/vbmi/passes.hpp"

namespace vorn::inline VORN_LEVEL {

struct avx512_passes {
  static uint32_t interval(unsigned width, const uint8_t *stream, uint32_t nrows, const ring &asked, uint64_t *out) {
    return (has_vbmi ? vbmi_passes::select_interval : lane_passes::interval)(width, stream, nrows, asked, out);
  }
  static unsigned interval_row_cost(unsigned width) {
    return has_vbmi ? row_cost(width) : lane_passes::interval_row_cost(width);
  }

  static uint32_t members(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out) {
    return (has_vbmi ? vbmi_passes::select_members : lane_passes::members)(width, stream, nrows, map, out);
  }
  static unsigned member_row_cost(unsigned width, const uint64_t *map) {
    return has_vbmi ? row_cost(width) : lane_passes::member_row_cost(width, map);
  }

  static uint32_t pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                        const pair_interval &asked, uint64_t *out) {
    return (has_vbmi ? vbmi_passes::select_pairs : lane_passes::pairs)(width, values, nrows, codes, asked, out);
  }
  static unsigned value_row_cost(unsigned width, bool with_codes) {
    return has_vbmi ? 16 : lane_passes::value_row_cost(width, with_codes);
  }

  static uint32_t packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens, const ring &asked,
                         uint64_t *out) {
    return (has_vbmi ? vbmi_passes::select_packed : lane_passes::packed)(width, values, nrows, lens, asked, out);
  }
  static uint32_t packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                               const pair_interval &asked, uint64_t *out) {
    return (has_vbmi ? vbmi_passes::select_packed_pairs : lane_passes::packed_pairs)(width, values, nrows, lens, asked,
                                                                                     out);
  }
  static unsigned packed_row_cost(unsigned width) { return has_vbmi ? 64 : lane_passes::packed_row_cost(width); }

private:
  static unsigned row_cost(unsigned width) { return width <= 8 ? 128 : width <= 16 ? 64 : width <= 32 ? 32 : 16; }
};

} // namespace vorn::inline VORN_LEVEL
