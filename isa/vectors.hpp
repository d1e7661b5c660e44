// The vectors of a level: 16, 32 or 64 bytes.  The loops of the engine are written once over these names:
//
//   vector, load_vector, store_vector    a vector at any address
//   all_bytes                            a vector of equal bytes
//   lanes_of<Lane>                       operations on lanes of 8 to 64 bits.  A comparison gives hits, a mask of lanes
//   word_of<Lanes>(test)                 a bit for each of 64 codes.  test(group, v) gives the hits of a vector
//   with_top_lanes, with_element_lanes   the code_lanes of a width, for comparisons and for elements
//   code_lanes: top, exact               codes at the top of lanes, or at the bottom with zeros above them
//   value_lanes<Lane>                    the code_lanes of whole bytes
//   narrow_lanes                         the code_lanes of less than 8 bits
//   packed_values<W>                     dynamic-packed values in lanes
//   unpack_block                         64 codes to elements
//   copy_padded, reversed_bytes          the end of a stream, the bits of bytes in the other order
//   range_ends<Lane>                     whether a value equals a bound
//   result_counter, stream_counter       counts of ones
#pragma once

#ifdef __AVX512VBMI__
  #include "isa/vbmi/code_lanes.hpp"
  #include "isa/vbmi/packed_values.hpp"
#else
  #include "isa/avx2/code_lanes.hpp"
  #include "isa/avx2/elements.hpp"
  #include "isa/avx2/packed_values.hpp"
#endif
