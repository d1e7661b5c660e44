// Asks a test of 64 codes at a time.
#pragma once

#include <algorithm>
#include <cstring>
#include <utility>

#include "generic/bitvec/words.hpp"
#include "isa/avx2/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

// One bit for each code of a group: the masks of its vectors, mask(v) each, packed.
template <unsigned First, unsigned Count, class Mask>
[[gnu::always_inline]] inline vector packed_masks(Mask mask) {
  if constexpr (Count == 1)
    return mask(std::integral_constant<unsigned, First>{});
  else
    return packed(packed_masks<First, Count / 2>(mask), packed_masks<First + Count / 2, Count / 2>(mask));
}

// One bit for each of 64 codes that is not missed.  The masks answer with ones for what a test does not take, since a
// comparison tells what is greater; mask(group, v) is that of vector v of a group.
template <class Lanes, class Mask>
[[gnu::always_inline]] inline uint64_t hits(Mask mask) {
  uint64_t misses = 0;
#pragma GCC unroll 4
  for (unsigned group = 0; group < word_groups; ++group)
    misses |= uint64_t{top_bits(packed_masks<0, Lanes::vectors>([&](auto v) { return mask(group, v); }))}
              << (group * group_codes);
  return ~misses;
}

// A block of the last codes, of `size` bytes, with zeros behind them.
template <class Lanes>
struct padded_block {
  uint8_t bytes[Lanes::block_bytes + Lanes::slack] = {};

  padded_block(const uint8_t *block, uint64_t size) {
    if (size >= Lanes::block_bytes)
      std::memcpy(bytes, block, Lanes::block_bytes); // a few instructions
    else
      std::memcpy(bytes, block, size);
  }
};

// The blocks of ncodes whose halves can be loaded whole, though a vector may have fewer bytes in them: nothing is read
// behind the last code.  The others go through a copy.
template <class Lanes>
constexpr uint64_t whole_blocks(uint64_t ncodes) {
  const uint64_t size = (ncodes * Lanes::width + 7) / 8;
  return size < Lanes::slack ? 0 : std::min((size - Lanes::slack) / Lanes::block_bytes, ncodes / 64);
}

// Writes match(word, block) for each word of 64 of nrows packed codes, zeros up to the end of the last word, and
// returns the number of ones.
template <class Lanes, class Match>
[[gnu::always_inline]] inline uint32_t select_words(const uint8_t *stream, uint32_t nrows, Match match, uint64_t *out) {
  const uint64_t whole = whole_blocks<Lanes>(nrows);
  uint32_t count = 0;
  for (uint64_t word = 0; word < whole; ++word) {
    out[word] = match(word, stream + word * Lanes::block_bytes);
    count += popcount(out[word]);
  }
  for (uint64_t word = whole; word < words_of(nrows); ++word) {
    const uint64_t before = word * Lanes::block_bytes, size = (uint64_t{nrows} * Lanes::width + 7) / 8;
    const padded_block<Lanes> last(stream + before, size - before);
    out[word] = match(word, last.bytes) & low_bits(nrows - 64 * word);
    count += popcount(out[word]);
  }
  return count;
}

// The same for a test of the lanes of a vector.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint32_t select_codes(const uint8_t *stream, uint32_t nrows, const Test &test,
                                                    uint64_t *out) {
  const auto match = [&](uint64_t /*word*/, const uint8_t *block) {
    return hits<Lanes>([&](unsigned group, auto v) { return test(Lanes::template top<v>(block, group)); });
  };
  return select_words<Lanes>(stream, nrows, match, out);
}

} // namespace vorn::inline VORN_LEVEL
