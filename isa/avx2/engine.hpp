// The engine of AVX2.  The levels below it use the same engine with vectors of half the size.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "isa/avx2/gather.hpp"
#include "isa/avx2/ones.hpp"
#include "isa/scan.hpp"
#include "isa/steps.hpp"

namespace vorn::inline VORN_LEVEL::engine {

template <unsigned W>
using dict_rows = lane_dict<W>;
template <unsigned W, bool Tz>
using fixed_rows = lane_fixed<W, Tz>;
template <unsigned W, bool Tz>
using dynp_rows = lane_dynp<W, Tz>;

template <unsigned W, class Element>
using steps = lane_steps<W, Element>;

using bitvec_loops = single_words;
using ones_loop = byte_ones;

using key_loop = gather_keys;
using bloom_loop = gather_tests;

} // namespace vorn::inline VORN_LEVEL::engine
