// The engine of AVX-512.  Most of it needs VBMI, which not all of these processors have.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/decode/burst.hpp"
#include "generic/decode/code_steps.hpp"
#include "isa/avx512/scan.hpp"

namespace vorn::inline VORN_LEVEL::engine {

template <unsigned W>
using dict_rows = avx512_dict<W>;
template <unsigned W, bool Tz>
using fixed_rows = avx512_fixed<W, Tz>;
template <unsigned W, bool Tz>
using dynp_rows = avx512_dynp<W, Tz>;

template <unsigned W, class Element>
using steps = code_steps<W, Element>;

using run_pass = single_runs;

using bitvec_pass = single_words;
using ones_pass = single_bits;

} // namespace vorn::inline VORN_LEVEL::engine
