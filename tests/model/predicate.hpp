// The meaning of predicates and the rows that a scan selects, one bit, byte and row at a time.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "frame/vorn.h"

namespace vorn_model {

// Key is a number, or a pair that sorts by its first member and then by its second.  The results are in the order of
// the opcodes.
template <class Key>
bool satisfies(const Key &x, unsigned opcode, const Key &c, const Key &hi) {
  const bool by_opcode[] = {
      x == c,           c > x, x > c, x <= c, x >= c, x != c, c < x && x < hi, c < x && x <= hi, c <= x && x < hi,
      c <= x && x <= hi};
  return by_opcode[opcode];
}

inline bool bit(const uint64_t *words, uint64_t row) { return words[row / 64] >> row % 64 & 1; }

struct result {
  std::vector<uint64_t> words;
  uint32_t count = 0;
};

// The rows with matches(row).  mask and filter may be null.
template <class Matches>
result select(uint32_t nrows, const uint64_t *mask, const uint64_t *filter, Matches matches) {
  result expected;
  expected.words.resize((uint64_t{nrows} + 63) / 64);
  for (uint32_t row = 0; row < nrows; ++row) {
    const bool included = (mask == nullptr || bit(mask, row)) && (filter == nullptr || bit(filter, row));
    if (included && matches(row)) {
      expected.words[row / 64] |= uint64_t{1} << row % 64;
      ++expected.count;
    }
  }
  return expected;
}

// Dictionary codes.

inline uint64_t code_at(const uint8_t *stream, unsigned width, uint64_t row) {
  uint64_t code = 0;
  for (uint64_t bit = row * width; bit < (row + 1) * width; ++bit)
    code = code << 1 | (stream[bit / 8] >> (7 - bit % 8) & 1U);
  return code;
}

// Writes as many bits at once as fit in a byte.
inline void put_code(uint8_t *stream, unsigned width, uint64_t row, uint64_t code) {
  uint64_t bit = row * width;
  for (unsigned left = width, taken; left != 0; left -= taken, bit += taken) {
    const auto free = static_cast<unsigned>(8 - bit % 8);
    taken = left < free ? left : free;
    const unsigned mask = ((1U << taken) - 1) << (free - taken);
    const unsigned bits = static_cast<unsigned>(code >> (left - taken)) << (free - taken);
    stream[bit / 8] = static_cast<uint8_t>((stream[bit / 8] & ~mask) | (bits & mask));
  }
}

struct predicate {
  unsigned opcode;
  unsigned width;
  bool nulls;
  uint32_t c;
  uint32_t hi;
};

// A full scan at the widths 8 and 16 takes only as many bytes of the constants as a code has.
inline bool matches(const predicate &p, uint64_t x, bool selective) {
  const uint64_t mask = selective || (p.width != 8 && p.width != 16) ? ~0U : (1U << p.width) - 1;
  return satisfies(x, p.opcode, p.c & mask, p.hi & mask) && !(p.nulls && x == 0);
}

// Fixed and dynamic-packed values.

// A value and its length code.  Without the second key, every code is 0.
using sort_pair = std::pair<uint64_t, unsigned>;

// The first `size` bytes as a big-endian number, padded on the right with zeros to `width` bytes.
inline uint64_t value_at(const uint8_t *bytes, unsigned size, unsigned width) {
  uint64_t value = 0;
  for (unsigned i = 0; i < width; ++i)
    value = value << 8 | (i < size ? bytes[i] : 0U);
  return value;
}

// The number of bits of a length code in the classes of 16, 32 and 64 bits.
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

// The rows of a dynamic-packed stream, one after the other.
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
