// Dynamic-packed values, without and with their length codes as a second key.  The values of 64 rows are expanded to
// lanes at a time.
#pragma once

#include "isa/pairs.hpp"

namespace vorn::inline VORN_LEVEL {

// Writes match(value, word) for each word of 64 of nrows values, and returns the number of ones.
template <unsigned W, class Match>
[[gnu::always_inline]] inline uint32_t select_packed_words(const uint8_t *stream, uint32_t nrows, const uint8_t *lens,
                                                           const Match &match, uint64_t *out) {
  packed_values<W> values(stream, lens, nrows);
  uint32_t count = 0;
  for (uint64_t word = 0; word < words_of(nrows); ++word) {
    const uint64_t bits = values.next([&](auto value) __attribute__((always_inline)) { return match(value, word); });
    set_word(out, word, bits);
    count += popcount(bits);
  }
  return count;
}

template <unsigned W>
[[gnu::noinline]] uint32_t select_packed_in(const uint8_t *stream, uint32_t nrows, const uint8_t *lens,
                                            const wrapped_range &range, uint64_t *out) {
  using lanes = typename packed_values<W>::lanes;
  const in_wrapped_range<lanes, false> test(0, range);
  const auto match = [&](auto value, uint64_t /*word*/) __attribute__((always_inline)) {
    return word_of<lanes>([&](unsigned group, auto v) { return test(value(group, v)); });
  };
  return select_packed_words<W>(stream, nrows, lens, match, out);
}

template <unsigned W>
[[gnu::noinline]] uint32_t select_packed_pairs_in(const uint8_t *stream, uint32_t nrows, const uint8_t *lens,
                                                  const pair_interval &range, uint64_t *out) {
  const pair_bounds<typename packed_values<W>::lanes> bounds(0, range);
  const code_bounds codes({lens, length_code_bits(W), nullptr}, nrows, range);
  const auto match = [&](auto value, uint64_t word) __attribute__((always_inline)) {
    return bounds.match(value, codes, word);
  };
  return select_packed_words<W>(stream, nrows, lens, match, out);
}

// Selects values of the classes of 16, 32 and 64 bits.
inline uint32_t select_packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                              const wrapped_range &range, uint64_t *out) {
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  const auto select = width == 16 ? select_packed_in<16> : width == 32 ? select_packed_in<32> : select_packed_in<64>;
  return select(values, nrows, lens, range, out);
}
inline uint32_t select_packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                                    const pair_interval &range, uint64_t *out) {
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  const auto select = width == 16   ? select_packed_pairs_in<16>
                      : width == 32 ? select_packed_pairs_in<32>
                                    : select_packed_pairs_in<64>;
  return select(values, nrows, lens, range, out);
}

} // namespace vorn::inline VORN_LEVEL
