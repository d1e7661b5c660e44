// Masks and counts of bits, for kernels and bit vectors.
#pragma once

#include <bit>
#include <cstdint>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

constexpr uint64_t low_bits(uint64_t count) { return count >= 64 ? UINT64_MAX : (uint64_t{1} << count) - 1; }

// Without a popcount instruction std::popcount is a table lookup; sums of neighbouring bits become vector code.
constexpr uint32_t popcount(uint64_t word) {
#ifdef __POPCNT__
  return static_cast<uint32_t>(std::popcount(word));
#else
  word -= word >> 1 & 0x5555555555555555U;
  word = (word & 0x3333333333333333U) + (word >> 2 & 0x3333333333333333U);
  word = (word + (word >> 4)) & 0x0f0f0f0f0f0f0f0fU;
  return static_cast<uint32_t>(word * 0x0101010101010101U >> 56);
#endif
}

} // namespace vorn::inline VORN_LEVEL
