// The engine of processors with AVX-512 that also have VBMI, VBMI2, BITALG and VPOPCNTDQ: vectors of 64 bytes.
#pragma once

#include "generic/decode/burst.hpp"
#include "isa/avx2/gather.hpp"
#include "isa/avx2/scan.hpp"
#include "isa/vbmi/bitvec.hpp"
#include "isa/vbmi/steps.hpp"

namespace vorn::inline VORN_LEVEL {

// The kernels of the readers and their costs, as in isa/avx2/kernels.hpp.
struct word_kernels {
  static constexpr auto interval = vbmi_kernels::select_interval;
  static unsigned interval_cost_per_row(unsigned width) {
    return width <= 8 ? 128 : width <= 16 ? 64 : width <= 32 ? 32 : 16;
  }

  static constexpr auto members = vbmi_kernels::select_members;
  static unsigned member_cost_per_row(unsigned width, const uint64_t * /*map*/) { return interval_cost_per_row(width); }

  static constexpr auto pairs = vbmi_kernels::select_pairs;
  static unsigned value_cost_per_row(unsigned /*width*/, bool /*with_codes*/) { return 16; }

  static constexpr auto packed = vbmi_kernels::select_packed;
  static constexpr auto packed_pairs = vbmi_kernels::select_packed_pairs;
  static unsigned packed_cost_per_row(unsigned /*width*/) { return 64; }
};

} // namespace vorn::inline VORN_LEVEL

namespace vorn::inline VORN_LEVEL::engine {

template <unsigned W>
using dict_rows = lane_dict<W, word_kernels>;
template <unsigned W, bool Tz>
using fixed_rows = lane_fixed<W, Tz, word_kernels>;
template <unsigned W, bool Tz>
using dynp_rows = lane_dynp<W, Tz, word_kernels>;

template <unsigned W, class Element>
using steps = lane_steps<W, Element>;

using run_loop = single_runs;

using bitvec_loops = vector_words;
using ones_loop = word_ones;

using key_loop = gather_keys;
using bloom_loop = gather_tests;

} // namespace vorn::inline VORN_LEVEL::engine
