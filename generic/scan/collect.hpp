// Collects one bit for each of 64 rows.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

// hit(i) returns 0 or 1 for row i.  With By_vector, the compiler can compute the 64 answers in vectors.
template <bool By_vector, class Hit>
inline uint64_t collect64(Hit hit) {
  uint64_t word = 0;
  if constexpr (By_vector) {
    alignas(8) uint8_t hits[64]; // the compiler vectorises this loop
    for (unsigned i = 0; i < 64; ++i)
      hits[i] = hit(i);
    for (unsigned group = 0; group < 64; group += 8) {
      uint64_t bytes;
      std::memcpy(&bytes, hits + group, sizeof bytes);
      word |= (bytes * 0x0102040810204080U >> 56) << group; // bit 0 of byte k moves to bit k of the top byte
    }
  } else {
    for (unsigned group = 0; group < 64; group += 8) { // short chains of shifts are faster than a way through memory
      unsigned byte = 0;
      for (unsigned k = 8; k-- > 0;)
        byte = 2 * byte + hit(group + k);
      word |= uint64_t{byte} << group;
    }
  }
  return word;
}

} // namespace vorn::inline VORN_LEVEL
