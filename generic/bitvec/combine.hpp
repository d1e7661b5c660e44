// Logical combinations, population counts and ranges of bit vectors.
//
// Loops is the loop over whole words, which an engine of a level may replace by one that takes several at once; the
// last word and what is stored of it are the same for all.
#pragma once

#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

inline constexpr auto bit_and = [](auto... words) { return (words & ...); };
inline constexpr auto bit_or = [](auto... words) { return (words | ...); };
inline constexpr auto bit_xor = [](auto... words) { return (words ^ ...); };
inline constexpr auto bit_andnot = [](auto a, auto b) { return ~a & b; };
inline constexpr auto bit_not = [](auto word) { return ~word; };

// One word after the other.
struct single_words {
  // Stores operation(sources...) for nwords whole words and returns the number of its ones, or 0 where they are not
  // Counted. Each word is stored before the next ones are loaded, so dst may be any of the sources.
  template <bool Counted, class Operation, class... Source>
  static uint32_t combine(Operation operation, void *dst, uint64_t nwords, const Source *...sources) {
    uint32_t count = 0;
    for (uint64_t i = 0; i < nwords; ++i) {
      const uint64_t word = operation(load_word(word_at(sources, i), sizeof word)...);
      store_word(word_at(dst, i), word, sizeof word);
      if constexpr (Counted)
        count += popcount(word);
    }
    return count;
  }

  static uint32_t count(const void *bv, uint64_t nwords) {
    uint32_t count = 0;
    for (uint64_t i = 0; i < nwords; ++i)
      count += popcount(load_word(word_at(bv, i), sizeof(uint64_t)));
    return count;
  }
};

template <class Unit, class Loops, bool Counted, class Operation, class... Source>
inline uint32_t combine_words(Operation operation, void *dst, uint64_t nbits, const Source *...sources) {
  const uint64_t nwords = nbits / 64;
  uint32_t count = Loops::template combine<Counted>(operation, dst, nwords, sources...);
  if (const uint64_t rest = nbits % 64; rest != 0) {
    const size_t size = stored_bytes<Unit>(rest);
    const uint64_t word = operation(load_word(word_at(sources, nwords), size)...) & low_bits(rest);
    store_word(word_at(dst, nwords), word, size);
    if constexpr (Counted)
      count += popcount(word);
  }
  return count;
}

template <class Unit, class Loops, class Operation, class... Source>
inline void combine(Operation operation, void *dst, uint32_t *popc, uint64_t nbits, const Source *...sources) {
  if (popc == nullptr)
    combine_words<Unit, Loops, false>(operation, dst, nbits, sources...);
  else
    *popc = combine_words<Unit, Loops, true>(operation, dst, nbits, sources...);
}

template <class Unit, class Loops>
inline void count_ones(uint32_t *popc, const void *bv, uint64_t nbits) {
  if (popc == nullptr)
    return;
  const uint64_t nwords = nbits / 64;
  uint32_t count = Loops::count(bv, nwords);
  if (const uint64_t rest = nbits % 64; rest != 0)
    count += popcount(load_word(word_at(bv, nwords), stored_bytes<Unit>(rest)) & low_bits(rest));
  *popc = count;
}

// What kernels do with masks and filters: dst = a AND b, and the number of ones, by the level's pass.
uint32_t and_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, uint64_t nbits);

// Makes the bits first to last, both included, Value.  On bytes, which hold the bits of either family.
template <bool Value>
inline void fill_range(void *bv, uint64_t first, uint64_t last) {
  auto *const bytes = static_cast<uint8_t *>(bv);
  const auto fill = [bytes](uint64_t at, unsigned mask) {
    bytes[at] = static_cast<uint8_t>(Value ? bytes[at] | mask : bytes[at] & ~mask);
  };
  const uint64_t head = first / 8, tail = last / 8;
  const unsigned from_first = 0xffU << first % 8, to_last = 0xffU >> (7 - last % 8);
  if (head == tail) {
    fill(head, from_first & to_last);
    return;
  }
  fill(head, from_first);
  fill(tail, to_last);
  if (head + 1 < tail)
    std::memset(bytes + head + 1, Value ? 0xff : 0, tail - head - 1);
}

} // namespace vorn::inline VORN_LEVEL
