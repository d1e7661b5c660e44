// Logical combinations, population counts and ranges of bit vectors.
#pragma once

#include "bitvec/words.hpp"

namespace vorn {

inline constexpr auto bit_and = [](auto... words) { return (words & ...); };
inline constexpr auto bit_or = [](auto... words) { return (words | ...); };
inline constexpr auto bit_xor = [](auto... words) { return (words ^ ...); };
inline constexpr auto bit_andnot = [](uint64_t a, uint64_t b) { return ~a & b; };
inline constexpr auto bit_not = [](uint64_t word) { return ~word; };

// Calls visit(offset, size, inside) for each word in ascending order: where it is, in bytes, how many of its bytes are
// stored, and which of its bits lie inside the vector.
template <class Unit, class Visit>
inline void for_each_word(uint64_t nbits, Visit visit) {
  const uint64_t whole = nbits / 64 * sizeof(uint64_t);
  for (uint64_t offset = 0; offset < whole; offset += sizeof(uint64_t))
    visit(offset, sizeof(uint64_t), UINT64_MAX);
  if (nbits % 64 != 0)
    visit(whole, stored_bytes<Unit>(nbits % 64), low_bits(nbits % 64));
}

// Each word is stored before the next ones are loaded, so dst may be any of the sources.
template <class Unit, bool Counted, class Operation, class... Source>
inline uint32_t combine_words(Operation operation, void *dst, uint64_t nbits, const Source *...sources) {
  uint32_t count = 0;
  for_each_word<Unit>(nbits, [&](uint64_t offset, size_t size, uint64_t inside) {
    const auto load = [=](const void *source) { return load_word(static_cast<const char *>(source) + offset, size); };
    const uint64_t word = operation(load(sources)...) & inside;
    store_word(static_cast<char *>(dst) + offset, word, size);
    if constexpr (Counted)
      count += popcount(word);
  });
  return count;
}

template <class Unit, class Operation, class... Source>
inline void combine(Operation operation, void *dst, uint32_t *popc, uint64_t nbits, const Source *...sources) {
  if (popc == nullptr)
    combine_words<Unit, false>(operation, dst, nbits, sources...);
  else
    *popc = combine_words<Unit, true>(operation, dst, nbits, sources...);
}

template <class Unit>
inline void count_ones(uint32_t *popc, const void *bv, uint64_t nbits) {
  if (popc == nullptr)
    return;
  uint32_t count = 0;
  for_each_word<Unit>(nbits, [&](uint64_t offset, size_t size, uint64_t inside) {
    count += popcount(load_word(static_cast<const char *>(bv) + offset, size) & inside);
  });
  *popc = count;
}

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

} // namespace vorn
