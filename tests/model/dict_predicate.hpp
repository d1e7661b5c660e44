// What a dictionary predicate means, told one bit and one row at a time.
#pragma once

#include <cstdint>

#include "tests/model/predicate.hpp"

namespace vorn_model {

inline uint64_t code_at(const uint8_t *stream, unsigned width, uint64_t row) {
  uint64_t code = 0;
  for (uint64_t bit = row * width; bit < (row + 1) * width; ++bit)
    code = code << 1 | (stream[bit / 8] >> (7 - bit % 8) & 1U);
  return code;
}

inline void put_code(uint8_t *stream, unsigned width, uint64_t row, uint64_t code) {
  for (unsigned i = 0; i < width; ++i) {
    const uint64_t bit = row * width + i;
    const auto mask = static_cast<uint8_t>(0x80U >> bit % 8);
    if (code >> (width - 1 - i) & 1)
      stream[bit / 8] = static_cast<uint8_t>(stream[bit / 8] | mask);
    else
      stream[bit / 8] = static_cast<uint8_t>(stream[bit / 8] & ~mask);
  }
}

struct predicate {
  unsigned opcode;
  unsigned width;
  bool nulls;
  uint32_t c;
  uint32_t hi;
};

// A full pass at the widths 8 and 16 takes from the constants only as many bytes as a code has.
inline bool matches(const predicate &p, uint64_t x, bool selective) {
  const uint64_t mask = selective || (p.width != 8 && p.width != 16) ? ~0U : (1U << p.width) - 1;
  return satisfies(x, p.opcode, p.c & mask, p.hi & mask) && !(p.nulls && x == 0);
}

} // namespace vorn_model
