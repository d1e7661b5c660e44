// The loops that a level may replace: row scans, unpacking of codes, bursts of runs, combinations of words, and
// look-ups in tables and bit maps.  A level with an engine has a header that defines the same names.  The build passes
// the path of that header in VORN_ENGINE.
#pragma once

#ifdef VORN_ENGINE
  #include VORN_ENGINE
#else

  #include "generic/bitvec/combine.hpp"
  #include "generic/bitvec/iterate.hpp"
  #include "generic/decode/code_steps.hpp"
  #include "generic/expr/translate.hpp"
  #include "generic/join/bloom.hpp"
  #include "generic/scan/dict.hpp"
  #include "generic/scan/dynp.hpp"
  #include "generic/scan/fixed.hpp"

namespace vorn::inline VORN_LEVEL::engine {

// Readers of the scans, each with its loops.
template <unsigned W>
using dict_rows = dict<W>;
template <unsigned W, bool Tz>
using fixed_rows = fixed<W, Tz>;
template <unsigned W, bool Tz>
using dynp_rows = dynp<W, Tz>;

// From codes to integers.
template <unsigned W, class Element>
using steps = code_steps<W, Element>;

// From selected runs to rows.
// Combinations of bit vectors, and lists of the positions of their ones.
using bitvec_loops = single_words;
using ones_loop = single_bits;

// Look-ups of keys in tables, and of hash values in bit maps.
using key_loop = expr::single_keys;
using bloom_loop = join::single_tests;

} // namespace vorn::inline VORN_LEVEL::engine

#endif
