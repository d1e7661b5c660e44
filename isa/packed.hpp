// Dynamic-packed values, without and with their length codes as a second key.  The values of 64 rows are expanded to
// lanes at a time.
#pragma once

#include "isa/pairs.hpp"

namespace vorn::inline VORN_LEVEL {

template <unsigned W>
[[gnu::noinline]] uint32_t select_packed_in(const uint8_t *stream, uint32_t nrows, const uint8_t *lens,
                                            const wrapped_range &range, uint64_t *out) {
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  packed_values<W> values(stream, lens, nrows);
  using lanes = typename packed_values<W>::lanes;
  const in_wrapped_range<lanes, false> test(0, range);
  uint32_t count = 0;
  for (uint64_t word = 0; word < words_of(nrows); ++word) {
    const uint64_t bits = values.next(
        [&](auto value) { return word_of<lanes>([&](unsigned group, auto v) { return test(value(group, v)); }); });
    set_word(out, word, bits);
    count += popcount(bits);
  }
  return count;
}

template <unsigned W>
[[gnu::noinline]] uint32_t select_packed_pairs_in(const uint8_t *stream, uint32_t nrows, const uint8_t *lens,
                                                  const pair_interval &range, uint64_t *out) {
  packed_values<W> values(stream, lens, nrows);
  const pair_bounds<typename packed_values<W>::lanes> bounds(0, range);
  code_answers answers;
  return select_pieces(nrows, range, out, [&](uint32_t first, uint32_t rows, uint64_t *words) {
    answers.fill({lens, length_code_bits(W), nullptr}, first, rows, range);
    uint32_t count = 0;
    for (uint64_t word = 0; word < words_of(rows); ++word) {
      const uint64_t bits =
          values.next([&](auto value) { return bounds.match(value, answers.below[word], answers.above[word]); });
      set_word(words, word, bits);
      count += popcount(bits);
    }
    return count;
  });
}

// Selects values of the classes of 16, 32 and 64 bits.
inline uint32_t select_packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                              const wrapped_range &range, uint64_t *out) {
  const auto select = width == 16 ? select_packed_in<16> : width == 32 ? select_packed_in<32> : select_packed_in<64>;
  return select(values, nrows, lens, range, out);
}
inline uint32_t select_packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                                    const pair_interval &range, uint64_t *out) {
  const auto select = width == 16   ? select_packed_pairs_in<16>
                      : width == 32 ? select_packed_pairs_in<32>
                                    : select_packed_pairs_in<64>;
  return select(values, nrows, lens, range, out);
}

} // namespace vorn::inline VORN_LEVEL
