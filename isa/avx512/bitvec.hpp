// The passes over bit vectors, with VBMI and what comes with it where there is some.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/bitvec/iterate.hpp"
#include "isa/avx2/ones.hpp"
#include "isa/avx512/processor.hpp"
#include "isa/vbmi/kernels.hpp"

namespace vorn::inline VORN_LEVEL {

// Words are combined some at a time, and counted while they are in the cache.
struct avx512_words {
  template <bool Counted, class Operation, class... Source>
  static uint32_t combine(Operation operation, void *dst, uint64_t nwords, const Source *...sources) {
    if (!Counted || !has_vbmi)
      return single_words::combine<Counted>(operation, dst, nwords, sources...);
    constexpr uint64_t piece = 512;
    uint32_t count = 0;
    for (uint64_t first = 0; first < nwords; first += piece) {
      const uint64_t some = std::min(nwords - first, piece);
      single_words::combine<false>(operation, word_at(dst, first), some, word_at(sources, first)...);
      count += vbmi_kernels::count_ones(word_at(dst, first), some);
    }
    return count;
  }

  static uint32_t count(const void *bv, uint64_t nwords) {
    return has_vbmi ? vbmi_kernels::count_ones(bv, nwords) : single_words::count(bv, nwords);
  }
};

// Ones are listed a word at a time, but for those of the word in hand, of a word that there is no room for, and of the
// last one.
struct avx512_ones {
  template <class Unit, class Context>
  static uint32_t list_ones(Context &context, uint32_t *out, uint32_t max) {
    if (!has_vbmi)
      return byte_ones::list_ones<Unit>(context, out, max);
    Context local = context;
    auto &[next, nbits, base, offset, word] = local;
    const int64_t left = int64_t{nbits} - base - 64; // bits behind the word in hand
    const uint32_t in_hand = popcount(word);
    uint32_t count = 0;
    if (left >= 64 && in_hand < max) {
      count = single_bits::list_ones<Unit>(local, out, in_hand);
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
