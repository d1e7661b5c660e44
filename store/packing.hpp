// Codes packed into one big-endian bit string, the form that the dictionary kernels read.
#pragma once

#include <cstdint>
#include <span>

#include "store/aligned.hpp"

namespace store {

// The narrowest width that has kernels and holds the codes 0 to count - 1.  Throws store::error beyond 2^32 codes.
uint32_t least_width(uint64_t count);

// A column of codes.  The stream begins on a cache line and is readable for another one behind its last code, which
// is more slack than any kernel uses.
class packed_codes {
public:
  packed_codes(std::span<const uint32_t> codes, uint32_t width);

  uint32_t width() const { return bits_per_code; }
  uint64_t rows() const { return count; }
  uint64_t bytes() const { return stream.size() - cache_line; } // without the slack

  // The stream from a row on.  The row is a multiple of 8: only there is a code sure to begin with a byte.
  const uint8_t *from(uint64_t row) const { return stream.data() + row / 8 * bits_per_code; }

  uint32_t operator[](uint64_t row) const;

private:
  uint32_t bits_per_code;
  uint64_t count;
  aligned_vector<uint8_t> stream;
};

} // namespace store
