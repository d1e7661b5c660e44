// Bit vectors, 64 bits at a time.  One family stores whole 64-bit words, the other family stores bytes at any address.
// Bit i has the same position in both, so the families differ only in the number of stored bytes of the last word.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/bits.hpp"
#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

constexpr uint64_t words_of(uint64_t nbits) { return (nbits + 63) >> 6; }

// The number of stored bytes of a word that has `bits` bits of the vector, 1 to 64.  Unit is uint8_t or uint64_t.
template <class Unit>
constexpr size_t stored_bytes(uint64_t bits) {
  return sizeof(Unit) == sizeof(uint64_t) ? sizeof(uint64_t) : (bits + 7) / 8;
}

inline const void *word_at(const void *bv, uint64_t index) {
  return static_cast<const char *>(bv) + index * sizeof(uint64_t);
}
inline void *word_at(void *bv, uint64_t index) { return static_cast<char *>(bv) + index * sizeof(uint64_t); }

// The words of a vector of words.  An entry point reports a vector that is not aligned; if the reporter returns, the
// call goes on with it, so words are read and written at any address.
struct [[gnu::packed]] unaligned_word {
  uint64_t bits;
};
inline uint64_t get_word(const uint64_t *bv, uint64_t index) {
  return reinterpret_cast<const unaligned_word *>(bv)[index].bits;
}
inline void set_word(uint64_t *bv, uint64_t index, uint64_t word) {
  reinterpret_cast<unaligned_word *>(bv)[index].bits = word;
}
inline void clear_words(uint64_t *bv, uint64_t nwords) {
  if (nwords != 0) // a vector without words may have no memory
    std::memset(bv, 0, nwords * sizeof(uint64_t));
}

// Loads and stores of the first `size` bytes of a word.  In loops the size is constant, so a word takes one
// instruction.
inline uint64_t load_word(const void *from, size_t size) {
  uint64_t word = 0;
  std::memcpy(&word, from, size);
  return word;
}
inline void store_word(void *to, uint64_t word, size_t size) { std::memcpy(to, &word, size); }

} // namespace vorn::inline VORN_LEVEL
