// Asks a test of 64 codes at a time.
#pragma once

#include <utility>

#include "generic/bitvec/words.hpp"
#include "isa/vbmi/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

inline uint32_t count_ones(const uint64_t *words, uint64_t nwords) {
  __m512i counts = _mm512_setzero_si512();
  uint64_t i = 0;
  for (; i + 8 <= nwords; i += 8)
    counts = _mm512_add_epi64(counts, _mm512_popcnt_epi64(_mm512_loadu_si512(words + i)));
  const auto rest = static_cast<__mmask8>(low_bits(nwords - i));
  counts = _mm512_add_epi64(counts, _mm512_popcnt_epi64(_mm512_maskz_loadu_epi64(rest, words + i)));
  return static_cast<uint32_t>(_mm512_reduce_add_epi64(counts));
}

// Writes the answers for 64 codes, of which those of some rows are asked, one test a vector; bytes(v) are those of
// vector v. Answers go from mask registers to memory without a detour.
template <class Lanes, class Test, class Bytes>
[[gnu::always_inline]] inline void answer(const Test &test, uint64_t rows, Bytes bytes, uint64_t *word) {
  using mask = typename Lanes::mask;
  *word = [&]<size_t... V>(std::index_sequence<V...>) {
    return ((uint64_t{test(bytes(V), static_cast<mask>(rows >> (V * Lanes::codes)))} << (V * Lanes::codes)) | ...);
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

// Sets a bit for each of nrows codes that the test takes, zeros up to the end of the last word, and returns how many
// these are.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint32_t select_codes(const uint8_t *stream, uint32_t nrows, const Test &test,
                                                    uint64_t *out) {
  constexpr uint64_t piece = 512; // words, which are counted while they are in the cache
  const uint64_t whole = whole_loads<Lanes>(nrows), words = words_of(nrows);
  uint32_t count = 0;
  for (uint64_t first = 0; first < whole; first += piece) {
    const uint64_t end = std::min(first + piece, whole);
#pragma GCC unroll 2
    for (uint64_t word = first; word < end; ++word) {
      const uint8_t *block = stream + word * Lanes::block_bytes;
      answer<Lanes>(
          test, UINT64_MAX, [=](unsigned v) { return Lanes::load(block, v); }, out + word);
    }
    count += count_ones(out + first, end - first);
  }
  for (uint64_t word = whole; word < words; ++word) {
    const uint8_t *block = stream + word * Lanes::block_bytes;
    const uint64_t rows = low_bits(nrows - 64 * word);
    const uint64_t left = stream_bytes<Lanes>(nrows) - word * Lanes::block_bytes;
    uint64_t hits;
    answer<Lanes>(
        test, rows, [=](unsigned v) { return Lanes::load(block, v, left); }, &hits);
    out[word] = hits & rows;
    count += popcount(out[word]);
  }
  return count;
}

} // namespace vorn::inline VORN_LEVEL
