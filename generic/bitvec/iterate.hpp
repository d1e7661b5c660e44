// Iteration over the set or clear bits of a vector.  An iterator holds a current word.  The contexts of the two
// families have the same fields in the same order, so structured bindings serve both.
#pragma once

#include <algorithm>

#include "frame/vorn.h"
#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

enum class wanted { set, clear };

// An iterator over whole words.  If there are no bits, or if the start lies after the last stored word, the iterator
// loads nothing and is at its end.
inline vorn_lbiwv_ictx iterator_over(const uint64_t *bv, uint64_t nbits, wanted bits, uint64_t start) {
  const uint64_t index = start / 64;
  const auto base = static_cast<int32_t>(std::min<uint64_t>(index * 64, INT32_MAX));
  vorn_lbiwv_ictx ictx = {bv + index + 1, static_cast<int32_t>(nbits), base, start % 64, 0};
  if (index * 64 < nbits)
    ictx.vorn_lbiwv_ictx_word =
        (bits == wanted::clear ? ~get_word(bv, index) : get_word(bv, index)) & UINT64_MAX << start % 64;
  return ictx;
}

// Loads words until the current word has a bit that is not delivered yet.  Returns false at the end of the vector.
template <class Unit, wanted Bits, class Context>
inline bool has_bits(Context &context) {
  auto &[next, nbits, base, offset, word] = context;
  while (word == 0) {
    const int64_t left = int64_t{nbits} - base - 64;
    if (left <= 0) {
      if (base < nbits) // an exhausted iterator stays where it is, and base cannot pass the end of the longest vector
        base = static_cast<int32_t>(std::min<int64_t>(int64_t{base} + 64, INT32_MAX));
      return false;
    }
    base += 64;
    word = load_word(next++, left >= 64 ? sizeof word : stored_bytes<Unit>(static_cast<uint64_t>(left)));
    if constexpr (Bits == wanted::clear)
      word = ~word;
    offset = 0;
  }
  return true;
}

// Delivers the lowest bit of the current word: returns its position and clears it in the word.
template <class Context>
inline int64_t take_bit(Context &context) {
  auto &[next, nbits, base, offset, word] = context;
  const int64_t position = int64_t{base} + __builtin_ctzll(word); // std::countr_zero would test for 0 first
  word &= word - 1;
  return position;
}

// Returns the next wanted bit or `end`.  A stray bit after the vector is the end too, since it lies in the last word.
template <class Unit, wanted Bits, class Context>
inline uint64_t next_bit(Context &context, uint64_t end) {
  if (!has_bits<Unit, Bits>(context))
    return end;
  auto &[next, nbits, base, offset, word] = context;
  const int64_t position = take_bit(context);
  return position < nbits ? static_cast<uint64_t>(position) : end;
}

// Lists set bits one after the other.  The engine of a level may have a loop that lists the bits of a word at once.
struct single_bits {
  template <class Unit, class Context>
  static uint32_t list_ones(Context &context, uint32_t *out, uint32_t max) {
    Context local = context; // a copy stays in registers; for all the compiler knows, out may alias the context
    auto &[next, nbits, base, offset, word] = local;
    uint32_t count = 0;
    while (count < max && has_bits<Unit, wanted::set>(local)) {
      if (int64_t{nbits} - base < 64) { // the word may have stray bits
        const int64_t position = take_bit(local);
        if (position >= nbits)
          break;
        out[count++] = static_cast<uint32_t>(position);
        continue;
      }
      do
        out[count++] = static_cast<uint32_t>(take_bit(local));
      while (word != 0 && count < max);
    }
    context = local;
    return count;
  }
};

// Kernels walk filters by this: it lists the next ones of an iterator.  The level's loop does the work.
uint32_t next_ones(vorn_lbiwv_ictx &iterator, uint32_t *out, uint32_t max);

} // namespace vorn::inline VORN_LEVEL
