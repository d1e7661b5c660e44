// Codes of one bit.  The result for a code is the code, its opposite, or the same for both codes.  The first code of a
// byte is its top bit, and the first row of a result is the lowest bit, so the bits of each byte are reversed.
#pragma once

#include "generic/bitvec/words.hpp"
#include "isa/vectors.hpp"

namespace vorn::inline VORN_LEVEL {

// Sets a bit for each selected code of nrows codes, and writes zeros up to the end of the last word.  `zeros` and
// `ones` say whether codes of 0 and of 1 are selected.  Returns the number of selected codes.  Nothing is read after
// the last code.
[[gnu::noinline]] inline uint32_t select_bits(const uint8_t *stream, uint32_t nrows, bool zeros, bool ones,
                                              uint64_t *out) {
  constexpr uint32_t step = 8 * sizeof(vector); // rows
  const vector matters = all_bytes(zeros != ones ? 0xff : 0), otherwise = all_bytes(zeros ? 0xff : 0);
  stream_counter ones_of_stream;
  const auto answers = [&](const uint8_t *bytes) {
    const vector codes = load_vector(bytes);
    ones_of_stream.add(bytes, codes);
    return (reversed_bytes(codes) & matters) ^ otherwise;
  };
  uint32_t row = 0;
#pragma GCC unroll words_at_once
  for (; nrows - row >= step; row += step)
    store_vector(out + row / 64, answers(stream + row / 8));
  if (row < nrows) {
    alignas(64) uint8_t copy[2 * sizeof(vector)];
    copy_padded(copy, sizeof(vector), stream + row / 8, (nrows - row + 7) / 8,
                nrows % 8 != 0 ? 0xff00U >> nrows % 8 : 0xff);
    uint64_t words[step / 64];
    store_vector(words, answers(copy));
    for (uint64_t word = row / 64; word < words_of(nrows); ++word)
      set_word(out, word, words[word - row / 64] & low_bits(nrows - 64 * word));
  }
  const uint32_t count = ones_of_stream.count();
  return (ones ? count : 0) + (zeros ? nrows - count : 0);
}

} // namespace vorn::inline VORN_LEVEL
