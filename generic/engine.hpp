// What a level may do in its own way: how rows are scanned, codes unpacked, runs set and words combined.  A level with
// an engine has a header that defines the same names, which the build names by VORN_ENGINE.
#pragma once

#ifdef VORN_ENGINE
  #include VORN_ENGINE
#else

  #include "generic/bitvec/combine.hpp"
  #include "generic/bitvec/iterate.hpp"
  #include "generic/decode/burst.hpp"
  #include "generic/decode/code_steps.hpp"
  #include "generic/scan/dict.hpp"
  #include "generic/scan/dynp.hpp"
  #include "generic/scan/fixed.hpp"

namespace vorn::inline VORN_LEVEL::engine {

// Readers of the scans, each with its pass.
template <unsigned W>
using dict_rows = dict<W>;
template <unsigned W, bool Tz>
using fixed_rows = fixed<W, Tz>;
template <unsigned W, bool Tz>
using dynp_rows = dynp<W, Tz>;

// Codes to integers.
template <unsigned W, class Element>
using steps = code_steps<W, Element>;

// Selected runs to rows.
using run_loop = single_runs;

// Words of bit vectors, and the positions of their ones.
using bitvec_loops = single_words;
using ones_loop = single_bits;

} // namespace vorn::inline VORN_LEVEL::engine

#endif
