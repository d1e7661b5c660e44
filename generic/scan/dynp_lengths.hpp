// The number of value bytes of the rows of one byte of length codes, for the classes of 2, 4 and 8 bytes.
#pragma once

#include <cstdint>

#include "generic/scan/length_codes.hpp"

namespace vorn::inline VORN_LEVEL {

struct length_table {
  uint8_t bytes[256];

  constexpr uint8_t operator[](unsigned byte) const { return bytes[byte]; }
};

// A row takes its code plus 1.  If a 4-bit code of a byte is illegal, both rows of the byte count 8.
constexpr length_table bytes_consumed(unsigned width) {
  length_table table = {};
  const unsigned bits = length_code_bits(width), longest = width / 8, rows = 8 / bits;
  for (unsigned byte = 0; byte < sizeof table.bytes; ++byte) {
    unsigned sum = rows;
    bool valid = true;
    for (unsigned shift = 0; shift < 8; shift += bits) {
      const unsigned code = byte >> shift & ((1U << bits) - 1);
      valid = valid && code < longest;
      sum += code;
    }
    table.bytes[byte] = static_cast<uint8_t>(valid ? sum : rows * longest);
  }
  return table;
}

template <unsigned W>
inline constexpr length_table length_consumed = bytes_consumed(W);

} // namespace vorn::inline VORN_LEVEL
