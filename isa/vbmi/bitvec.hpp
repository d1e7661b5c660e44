// The loops over bit vectors.
#pragma once

#include <type_traits>

#include "generic/bitvec/combine.hpp"
#include "generic/bitvec/iterate.hpp"
#include "isa/vbmi/vector.hpp"

namespace vorn::inline VORN_LEVEL {

// Combines a piece of words at a time and counts its ones while the piece is in the cache.
struct vector_words {
  template <bool Counted, class Operation, class... Source>
  static uint32_t combine(Operation operation, void *dst, uint64_t nwords, const Source *...sources) {
    if constexpr (!Counted)
      return single_words::combine<false>(operation, dst, nwords, sources...);
    constexpr uint64_t piece = 512;
    uint32_t count = 0;
    for (uint64_t first = 0; first < nwords; first += piece) {
      const uint64_t some = std::min(nwords - first, piece);
      single_words::combine<false>(operation, word_at(dst, first), some, word_at(sources, first)...);
      count += ones_of(word_at(dst, first), some);
    }
    return count;
  }

  static uint32_t count(const void *bv, uint64_t nwords) { return ones_of(bv, nwords); }
};

inline constexpr byte_indices positions = [] {
  byte_indices out = {};
  for (unsigned i = 0; i < 64; ++i)
    out[i] = static_cast<uint8_t>(i);
  return out;
}();

// The positions of the ones of a word are a compression of all positions.  16 of them at a time become numbers of 32
// bits.  Most words need no branch, since a branch on the number of ones would be mispredicted.
inline void list_word(uint64_t word, uint32_t base, uint32_t *out, uint32_t count) {
  const vector listed = _mm512_maskz_compress_epi8(word, load_vector(positions));
  const vector first = _mm512_set1_epi32(static_cast<int>(base));
  const uint64_t mask = low_bits(count);
  const auto store = [&]<int I>(std::integral_constant<int, I> /*quarter*/) {
    const vector some = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(listed, I));
    _mm512_mask_storeu_epi32(out + 16 * I, static_cast<__mmask16>(mask >> 16 * I), _mm512_add_epi32(some, first));
  };
  store(std::integral_constant<int, 0>{});
  store(std::integral_constant<int, 1>{});
  store(std::integral_constant<int, 2>{});
  if (count > 48)
    store(std::integral_constant<int, 3>{});
}

// Lists the positions of the ones of words, as long as there is room for all ones of a word.  The first word begins
// with bit `base`.  `room` becomes the rest of the room.  Returns the number of listed words.
[[gnu::noinline]] inline uint64_t list_words(const uint64_t *words, uint64_t nwords, uint32_t base, uint32_t *out,
                                             uint32_t &room) {
  uint64_t i = 0;
  uint32_t *next = out;
  uint32_t left = room;
  for (; i < nwords && left != 0; ++i, base += 64) {
    uint64_t word = get_word(words, i);
    const uint32_t count = popcount(word);
    if (count > left)
      break;
    if (count <= 4) { // a few are listed faster one by one
      for (uint32_t k = 0; k < count; ++k, word &= word - 1)
        next[k] = base + static_cast<uint32_t>(__builtin_ctzll(word));
    } else {
      list_word(word, base, next, count);
    }
    next += count;
    left -= count;
  }
  room = left;
  return i;
}

// Lists the ones of a word at a time, except for the current word, a word without enough room, and the last word.
struct word_ones {
  template <class Unit, class Context>
  static uint32_t list_ones(Context &context, uint32_t *out, uint32_t max) {
    Context local = context;
    auto &[next, nbits, base, offset, word] = local;
    const int64_t left = int64_t{nbits} - base - 64; // bits after the current word
    const uint32_t in_current_word = popcount(word);
    uint32_t count = 0;
    if (left >= 64 && in_current_word < max) {
      count = single_bits::list_ones<Unit>(local, out, in_current_word);
      uint32_t room = max - count;
      const uint64_t words =
          list_words(next, static_cast<uint64_t>(left) / 64, static_cast<uint32_t>(base + 64), out + count, room);
      count = max - room;
      if (words != 0) {
        next += words;
        base += static_cast<int32_t>(64 * words);
        offset = 0;
      }
      context = local;
    }
    return count == max ? count : count + single_bits::list_ones<Unit>(context, out + count, max - count);
  }
};

} // namespace vorn::inline VORN_LEVEL
