// The engine of AVX-512.  Most of it needs VBMI.  Some processors with AVX-512 do not have VBMI.
#pragma once

#include "generic/decode/burst.hpp"
#include "isa/avx2/gather.hpp"
#include "isa/avx2/scan.hpp"
#include "isa/avx512/bitvec.hpp"
#include "isa/avx512/decode.hpp"
#include "isa/avx512/kernels.hpp"

namespace vorn::inline VORN_LEVEL::engine {

template <unsigned W>
using dict_rows = lane_dict<W, avx512_kernels>;
template <unsigned W, bool Tz>
using fixed_rows = lane_fixed<W, Tz, avx512_kernels>;
template <unsigned W, bool Tz>
using dynp_rows = lane_dynp<W, Tz, avx512_kernels>;

template <unsigned W, class Element>
using steps = avx512_steps<W, Element>;

using run_loop = single_runs;

using bitvec_loops = avx512_words;
using ones_loop = avx512_ones;

using key_loop = gather_keys;
using bloom_loop = gather_tests;

} // namespace vorn::inline VORN_LEVEL::engine
