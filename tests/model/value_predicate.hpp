// What a predicate over fixed or dynamic-packed values means, told one byte and one row at a time.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/model/predicate.hpp"

namespace vorn_model {

// The value and its length code; without the second key the code is 0 throughout.
using sort_pair = std::pair<uint64_t, unsigned>;

// The first `size` bytes as a big-endian number, padded with zero bytes on the right to `width` bytes.
inline uint64_t value_at(const uint8_t *bytes, unsigned size, unsigned width) {
  uint64_t value = 0;
  for (unsigned i = 0; i < width; ++i)
    value = value << 8 | (i < size ? bytes[i] : 0U);
  return value;
}

// Bits of a length code in the classes of 16, 32 and 64 bits.
inline unsigned length_code_bits(unsigned width_class) { return width_class / 16; }

inline unsigned length_code_shift(unsigned bits, uint64_t row) {
  const unsigned per_byte = 8 / bits;
  return bits * (per_byte - 1 - static_cast<unsigned>(row % per_byte));
}

inline unsigned length_code_at(const uint8_t *lens, unsigned bits, uint64_t row) {
  return lens[row * bits / 8] >> length_code_shift(bits, row) & ((1U << bits) - 1);
}

inline void put_length_code(uint8_t *lens, unsigned bits, uint64_t row, unsigned code) {
  const unsigned shift = length_code_shift(bits, row);
  const unsigned others = lens[row * bits / 8] & ~(((1U << bits) - 1) << shift);
  lens[row * bits / 8] = static_cast<uint8_t>(others | code << shift);
}

// The rows of a dynamic-packed stream, each after the one before it.
inline std::vector<sort_pair> dynp_rows(const uint8_t *values, const uint8_t *lens, unsigned width_class,
                                        uint32_t nrows) {
  std::vector<sort_pair> rows;
  for (uint32_t row = 0; row < nrows; ++row) {
    const unsigned code = length_code_at(lens, length_code_bits(width_class), row);
    rows.emplace_back(value_at(values, code + 1, width_class / 8), code);
    values += code + 1;
  }
  return rows;
}

} // namespace vorn_model
