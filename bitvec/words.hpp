// Bit vectors, 64 bits at a time.  One family stores whole 64-bit words and the other bytes at any address; bit i has
// the same place in both, so they differ only in how many bytes of their last word are theirs.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vorn {

// The bytes that are stored of a word with `bits` bits of the vector, 1 to 64.  Unit is uint8_t or uint64_t.
template <class Unit>
constexpr size_t stored_bytes(uint64_t bits) {
  return sizeof(Unit) == sizeof(uint64_t) ? sizeof(uint64_t) : (bits + 7) / 8;
}

constexpr uint64_t low_bits(uint64_t bits) { return UINT64_MAX >> (64 - bits); } // 1 to 64

// The size is known where it matters: a whole word is one instruction.
inline uint64_t load_word(const void *from, size_t size) {
  uint64_t word = 0;
  std::memcpy(&word, from, size);
  return word;
}
inline void store_word(void *to, uint64_t word, size_t size) { std::memcpy(to, &word, size); }

// Without an instruction for it, std::popcount is a call that looks bytes up; sums of neighbours become vector code.
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

} // namespace vorn
