// What a predicate means and which rows a scan selects, one row at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/vorn.h"

namespace vorn_model {

// Key: a number, or a pair that sorts by its first member and then its second.
template <class Key>
bool satisfies(const Key &x, unsigned opcode, const Key &c, const Key &hi) {
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

inline bool bit(const uint64_t *words, uint64_t row) { return words[row / 64] >> row % 64 & 1; }

struct result {
  std::vector<uint64_t> words;
  uint32_t count = 0;
};

// The rows for which matches(row) holds; mask and filter may be null.
template <class Matches>
result select(uint32_t nrows, const uint64_t *mask, const uint64_t *filter, Matches matches) {
  result expected;
  expected.words.resize((uint64_t{nrows} + 63) / 64);
  for (uint32_t row = 0; row < nrows; ++row) {
    const bool kept = (mask == nullptr || bit(mask, row)) && (filter == nullptr || bit(filter, row));
    if (kept && matches(row)) {
      expected.words[row / 64] |= uint64_t{1} << row % 64;
      ++expected.count;
    }
  }
  return expected;
}

} // namespace vorn_model
