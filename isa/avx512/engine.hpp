// The engine of AVX-512.  Most of it needs VBMI, which not all of these processors have.
#pragma once

#include "generic/decode/burst.hpp"
#include "isa/avx512/bitvec.hpp"
#include "isa/avx512/decode.hpp"
#include "isa/avx512/scan.hpp"

namespace vorn::inline VORN_LEVEL::engine {

template <unsigned W>
using dict_rows = avx512_dict<W>;
template <unsigned W, bool Tz>
using fixed_rows = avx512_fixed<W, Tz>;
template <unsigned W, bool Tz>
using dynp_rows = avx512_dynp<W, Tz>;

template <unsigned W, class Element>
using steps = avx512_steps<W, Element>;

using run_pass = single_runs;

using bitvec_pass = avx512_words;
using ones_pass = avx512_ones;

} // namespace vorn::inline VORN_LEVEL::engine
