// The engine of processors with AVX-512 that also have VBMI, VBMI2, BITALG, VPOPCNTDQ and GFNI: vectors of 64 bytes.
#pragma once

#include "isa/scan.hpp"
#include "isa/steps.hpp"
#include "isa/vbmi/bitvec.hpp"

namespace vorn::inline VORN_LEVEL::engine {

template <unsigned W>
using dict_rows = lane_dict<W>;
template <unsigned W, bool Tz>
using fixed_rows = lane_fixed<W, Tz>;
template <unsigned W, bool Tz>
using dynp_rows = lane_dynp<W, Tz>;

template <unsigned W, class Element>
using steps = lane_steps<W, Element>;

using bitvec_loops = vector_words;
using ones_loop = word_ones;

} // namespace vorn::inline VORN_LEVEL::engine
