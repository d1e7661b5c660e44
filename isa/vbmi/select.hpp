// Asks a test of 64 codes at a time.
#pragma once

#include <utility>

#include "generic/bitvec/words.hpp"
#include "isa/vbmi/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

inline uint32_t sum_of(__m512i counts) { return static_cast<uint32_t>(_mm512_reduce_add_epi64(counts)); }

// The ones of words at any address.
[[gnu::noinline]] inline uint32_t ones_of(const void *words, uint64_t nwords) {
  const auto *at = static_cast<const uint8_t *>(words);
  __m512i counts = _mm512_setzero_si512();
  for (; nwords >= 8; nwords -= 8, at += 64)
    counts = _mm512_add_epi64(counts, _mm512_popcnt_epi64(load_vector(at)));
  const auto rest = static_cast<__mmask8>(low_bits(nwords));
  return sum_of(_mm512_add_epi64(counts, _mm512_popcnt_epi64(_mm512_maskz_loadu_epi64(rest, at))));
}

// A bit for each lane of the vectors of 64 codes: answer(v) is a mask.
template <class Lanes, class Answer>
[[gnu::always_inline]] inline uint64_t collect_masks(Answer answer) {
  return [&]<size_t... V>(std::index_sequence<V...>) {
    return ((uint64_t{answer(static_cast<unsigned>(V))} << (V * Lanes::codes)) | ...);
  }
  (std::make_index_sequence<Lanes::vectors>{});
}

template <class Lanes>
constexpr uint64_t stream_bytes(uint64_t nrows) {
  return (nrows * Lanes::width + 7) / 8;
}

// The words whose vectors can be loaded whole: a vector may have fewer bytes than are loaded for it, and nothing is
// read behind the last code.  The others take loads with a mask, which are slower.
template <class Lanes>
constexpr uint64_t whole_loads(uint64_t nrows) {
  constexpr uint64_t needed = 64 + (Lanes::vectors - 1) * Lanes::bytes;
  const uint64_t size = stream_bytes<Lanes>(nrows);
  return size < needed ? 0 : std::min((size - needed) / Lanes::block_bytes + 1, nrows / 64);
}

// Writes match(word, rows, bytes) for each word of 64 of nrows codes, zeros up to the end of the last word, and returns
// the number of ones.  `rows` are those of the word that there are; bytes(v) is vector v of its codes.
template <class Lanes, class Match>
[[gnu::always_inline]] inline uint32_t select_words(const uint8_t *stream, uint32_t nrows, const Match &match,
                                                    uint64_t *out) {
  constexpr uint64_t piece = 512; // words, which are counted while they are in the cache
  const uint64_t whole = whole_loads<Lanes>(nrows), words = words_of(nrows);
  uint32_t count = 0;
  for (uint64_t first = 0; first < whole; first += piece) {
    const uint64_t end = std::min(first + piece, whole);
#pragma GCC unroll 2
    for (uint64_t word = first; word < end; ++word) {
      const uint8_t *block = stream + word * Lanes::block_bytes;
      out[word] = match(word, UINT64_MAX, [=](unsigned v) { return Lanes::load(block, v); });
    }
    count += ones_of(out + first, end - first);
  }
  for (uint64_t word = whole; word < words; ++word) {
    const uint8_t *block = stream + word * Lanes::block_bytes;
    const uint64_t rows = low_bits(nrows - 64 * word);
    const uint64_t left = stream_bytes<Lanes>(nrows) - word * Lanes::block_bytes;
    out[word] = match(word, rows, [=](unsigned v) { return Lanes::load(block, v, left); }) & rows;
    count += popcount(out[word]);
  }
  return count;
}

// The same for a test of the lanes of a vector: test(bytes, rows) is a mask.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint32_t select_codes(const uint8_t *stream, uint32_t nrows, const Test &test,
                                                    uint64_t *out) {
  const auto match = [&](uint64_t /*word*/, uint64_t rows, auto bytes) {
    return collect_masks<Lanes>(
        [&](unsigned v) { return test(bytes(v), static_cast<typename Lanes::mask>(rows >> (v * Lanes::codes))); });
  };
  return select_words<Lanes>(stream, nrows, match, out);
}

} // namespace vorn::inline VORN_LEVEL
