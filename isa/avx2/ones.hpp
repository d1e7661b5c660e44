// Lists the positions of the ones of a bit vector, a byte at a time.
#pragma once

#include "generic/bitvec/iterate.hpp"
#include "isa/avx2/compress.hpp"

namespace vorn::inline VORN_LEVEL {

struct byte_ones {
  template <class Unit, class Context>
  static uint32_t list_ones(Context &context, uint32_t *out, uint32_t max) {
    constexpr uint32_t few = 3; // this many are listed faster one by one
    Context local = context;    // a copy stays in registers; for all the compiler knows, out may alias the context
    auto &[next, nbits, base, offset, word] = local;
    uint32_t count = 0;
    [[maybe_unused]] uint32_t until_sample = 0; // words
    while (max - count >= 64 + beyond && has_bits<Unit, wanted::set>(local) && int64_t{nbits} - base >= 64) {
#ifdef __BMI__
      if (until_sample-- == 0) {
        const uint32_t words = std::min((max - count - beyond) / 64, static_cast<uint32_t>(nbits - base) / 64);
        const uint32_t of_sample = words < sample ? 0 : ones_of(local, sample);
        if (of_sample > 3 * sample / 2 && of_sample <= 5 * sample) { // fewer ones are listed faster one by one
          count += of_sample <= 2 * sample ? list_sparse<4>(local, words, out + count)
                                           : list_sparse<8>(local, words, out + count);
          until_sample = 0;
          continue;
        }
        until_sample = 8 * sample - 1;
      }
#endif
      const uint32_t ones = popcount(word);
      if (ones <= few)
        for (uint32_t i = 0; i < ones; ++i)
          out[count + i] = static_cast<uint32_t>(take_bit(local));
      else
        list_word(word, base, out + count, ones);
      word = 0;
      count += ones;
    }
    context = local;
    return count + single_bits::list_ones<Unit>(context, out + count, max - count);
  }

private:
  static constexpr uint32_t beyond = 8; // this many positions after the positions of a word may be overwritten

#ifdef __BMI__
  static constexpr uint32_t sample = 8; // words

  // Of some words from the current word on.
  template <class Context>
  static uint32_t ones_of(const Context &context, uint32_t words) {
    const auto &[next, nbits, base, offset, word] = context;
    uint32_t ones = popcount(word);
    for (uint32_t i = 0; i + 1 < words; ++i)
      ones += popcount(load_word(next + i, sizeof word));
    return ones;
  }

  // Lists the positions of some words, the current one first.  `AtOnce` positions are written for each word, whatever
  // it holds, since a branch on the number of its ones would be mispredicted.  The instruction gives 64 for a word
  // without ones.
  template <uint32_t AtOnce, class Context>
  [[gnu::noinline]] static uint32_t list_sparse(Context &context, uint32_t words, uint32_t *out) {
    auto &[next, nbits, base, offset, word] = context;
    const uint32_t ones = ones_of(context, words);
    uint32_t after[AtOnce];
    std::memcpy(after, out + ones, sizeof after);
    uint32_t *to = out, first = static_cast<uint32_t>(base);
    const auto *following = next; // copies stay in registers
    uint64_t left = word;
    for (uint32_t i = 0; i < words; ++i, first += 64) {
      const uint32_t of_word = popcount(left);
  #pragma GCC unroll 8
      for (uint32_t bit = 0; bit < AtOnce; ++bit) {
        to[bit] = first + static_cast<uint32_t>(_tzcnt_u64(left));
        left &= left - 1;
      }
      for (uint32_t bit = AtOnce; bit < of_word; ++bit) {
        to[bit] = first + static_cast<uint32_t>(_tzcnt_u64(left));
        left &= left - 1;
      }
      to += of_word;
      if (i + 1 < words)
        left = load_word(following++, sizeof left);
    }
    std::memcpy(out + ones, after, sizeof after);
    next = following;
    base += static_cast<int32_t>((words - 1) * 64);
    offset = 0;
    word = 0;
    return ones;
  }
#endif

  // The elements after the positions are restored, since a caller does not expect them to change.
  [[gnu::always_inline]] static void list_word(uint64_t word, int32_t base, uint32_t *out, uint32_t ones) {
    uint32_t after[beyond];
    std::memcpy(after, out + ones, sizeof after);
    vector first = lanes_of<uint32_t>::all(static_cast<uint32_t>(base));
    const vector step = lanes_of<uint32_t>::all(8);
    uint32_t *to = out;
#pragma GCC unroll 8
    for (unsigned i = 0; i < 64; i += 8) {
      const auto byte = static_cast<unsigned>(word >> i & 0xff);
      store_positions(load_ones(byte), first, to);
      first = VORN_VECTOR(add_epi32)(first, step);
      to += popcount(byte);
    }
    std::memcpy(out + ones, after, sizeof after);
  }

  static void store_positions(__m128i positions, vector first, uint32_t *to) {
#ifdef __AVX2__
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to), _mm256_add_epi32(_mm256_cvtepu8_epi32(positions), first));
#else
    store_half(to, _mm_add_epi32(_mm_cvtepu8_epi32(positions), first));
    store_half(to + 4, _mm_add_epi32(_mm_cvtepu8_epi32(_mm_srli_si128(positions, 4)), first));
#endif
  }
};

} // namespace vorn::inline VORN_LEVEL
