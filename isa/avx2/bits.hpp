// Codes of one bit.  The result for a code is the code, its opposite, or the same for both codes.  The first code of a
// byte is its top bit, and the first row of a result is the lowest bit, so the bits of each byte are reversed.
#pragma once

#include <algorithm>
#include <cstring>

#include "generic/bitvec/words.hpp"
#include "isa/avx2/vector.hpp"

namespace vorn::inline VORN_LEVEL {

// Reverses the bits of each byte, by a table of nibbles.
inline vector reversed_bytes(vector x) {
  constexpr auto nibbles = [](unsigned shift) {
    std::array<uint8_t, 16> out = {};
    for (unsigned i = 0; i < 16; ++i)
      out[i] = static_cast<uint8_t>(((i & 1) << 3 | (i & 2) << 1 | (i & 4) >> 1 | (i & 8) >> 3) << shift);
    return out;
  };
  constexpr std::array<uint8_t, 16> to_high = nibbles(4), to_low = nibbles(0);
  const vector nibble = VORN_VECTOR(set1_epi8)(15);
  return shuffled(in_each_half(to_high), x & nibble) |
         shuffled(in_each_half(to_low), VORN_VECTOR(srli_epi16)(x, 4) & nibble);
}

// Sets a bit for each selected code of nrows codes, and writes zeros up to the end of the last word.  `zeros` and
// `ones` say whether codes of 0 and of 1 are selected.  Returns the number of selected codes.  Nothing is read after
// the last code.
[[gnu::noinline]] inline uint32_t select_bits(const uint8_t *stream, uint32_t nrows, bool zeros, bool ones,
                                              uint64_t *out) {
  constexpr uint32_t step = 8 * sizeof(vector); // rows
  const vector matters = VORN_VECTOR(set1_epi8)(zeros != ones ? -1 : 0);
  const vector otherwise = VORN_VECTOR(set1_epi8)(zeros ? -1 : 0);
  const auto answers = [=](const uint8_t *bytes, void *words) {
    const vector codes = load_halves(bytes, half_bytes);
    store_halves(static_cast<uint8_t *>(words), half_bytes, (reversed_bytes(codes) & matters) ^ otherwise);
  };
  uint32_t count = 0, row = 0;
  for (; nrows - row >= step; row += step) {
    answers(stream + row / 8, out + row / 64);
    for (unsigned i = 0; i < step / 64; ++i)
      count += popcount(get_word(out, row / 64 + i));
  }
  if (row < nrows) {
    uint8_t copy[sizeof(vector)] = {};
    std::memcpy(copy, stream + row / 8, (nrows - row + 7) / 8);
    uint64_t words[step / 64];
    answers(copy, words);
    for (uint64_t word = row / 64; word < words_of(nrows); ++word) {
      const uint64_t bits = words[word - row / 64] & low_bits(nrows - 64 * word);
      set_word(out, word, bits);
      count += popcount(bits);
    }
  }
  return count;
}

} // namespace vorn::inline VORN_LEVEL
