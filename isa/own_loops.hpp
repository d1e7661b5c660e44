// The loops that differ between vectors of 64 bytes and smaller ones: the members of a map and the rows of a filter,
// and the costs of a row.
#pragma once

#ifdef __AVX512VBMI__
  #include "isa/vbmi/filter.hpp"
  #include "isa/vbmi/members.hpp"
#else
  #include "isa/avx2/filter.hpp"
  #include "isa/avx2/members.hpp"
#endif
