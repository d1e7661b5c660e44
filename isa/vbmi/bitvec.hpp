// The loops over bit vectors.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/bitvec/iterate.hpp"
#include "isa/vbmi/kernels.hpp"

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
      count += vbmi_kernels::count_ones(word_at(dst, first), some);
    }
    return count;
  }

  static uint32_t count(const void *bv, uint64_t nwords) { return vbmi_kernels::count_ones(bv, nwords); }
};

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
      const uint64_t words = vbmi_kernels::list_ones(next, static_cast<uint64_t>(left) / 64,
                                                     static_cast<uint32_t>(base + 64), out + count, room);
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
