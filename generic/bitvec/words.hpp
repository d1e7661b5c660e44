// Bit vectors, 64 bits at a time.  One family stores whole 64-bit words and the other bytes at any address; bit i has
// the same place in both, so they differ only in how many bytes of their last word are theirs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/bits.hpp"
#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

constexpr uint64_t words_of(uint64_t nbits) { return (nbits + 63) >> 6; }

// The bytes that are stored of a word with `bits` bits of the vector, 1 to 64.  Unit is uint8_t or uint64_t.
template <class Unit>
constexpr size_t stored_bytes(uint64_t bits) {
  return sizeof(Unit) == sizeof(uint64_t) ? sizeof(uint64_t) : (bits + 7) / 8;
}

inline const void *word_at(const void *bv, uint64_t index) {
  return static_cast<const char *>(bv) + index * sizeof(uint64_t);
}
inline void *word_at(void *bv, uint64_t index) { return static_cast<char *>(bv) + index * sizeof(uint64_t); }

// The size is known where it matters: a whole word is one instruction.
inline uint64_t load_word(const void *from, size_t size) {
  uint64_t word = 0;
  std::memcpy(&word, from, size);
  return word;
}
inline void store_word(void *to, uint64_t word, size_t size) { std::memcpy(to, &word, size); }

} // namespace vorn::inline VORN_LEVEL
