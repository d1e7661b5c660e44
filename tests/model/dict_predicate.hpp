// What a dictionary predicate means, told one bit and one row at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "frame/vorn.h"

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

inline bool satisfies(uint64_t x, unsigned opcode, uint64_t c, uint64_t hi) {
  switch (opcode) {
  case VORN_OPC_EQ:
    return x == c;
  case VORN_OPC_NE:
    return x != c;
  case VORN_OPC_LT:
    return x < c;
  case VORN_OPC_LE:
    return x <= c;
  case VORN_OPC_GT:
    return x > c;
  case VORN_OPC_GE:
    return x >= c;
  case VORN_OPC_GT_LT:
    return c < x && x < hi;
  case VORN_OPC_GT_LE:
    return c < x && x <= hi;
  case VORN_OPC_GE_LT:
    return c <= x && x < hi;
  default:
    return c <= x && x <= hi;
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
  const uint32_t mask = selective || (p.width != 8 && p.width != 16) ? ~0U : (1U << p.width) - 1;
  return satisfies(x, p.opcode, p.c & mask, p.hi & mask) && !(p.nulls && x == 0);
}

inline bool bit(const uint64_t *words, uint64_t row) { return words[row / 64] >> row % 64 & 1; }

struct result {
  std::vector<uint64_t> words;
  uint32_t count = 0;
};

// mask and filter may be null.
inline result evaluate(const predicate &p, const uint8_t *stream, uint32_t nrows, const uint64_t *mask,
                       const uint64_t *filter, bool selective) {
  result expected;
  expected.words.resize((uint64_t{nrows} + 63) / 64);
  for (uint32_t row = 0; row < nrows; ++row) {
    const bool kept = (mask == nullptr || bit(mask, row)) && (filter == nullptr || bit(filter, row));
    if (kept && matches(p, code_at(stream, p.width, row), selective)) {
      expected.words[row / 64] |= uint64_t{1} << row % 64;
      ++expected.count;
    }
  }
  return expected;
}

} // namespace vorn_model
