// Tests 64 codes at a time.
#pragma once

#include <algorithm>
#include <cstring>
#include <utility>

#include "generic/bitvec/words.hpp"
#include "isa/avx2/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

// One bit for each code of a group: the packed masks of its vectors.  mask(v) is the mask of vector v.
template <unsigned First, unsigned Count, class Mask>
[[gnu::always_inline]] inline vector packed_masks(Mask mask) {
  if constexpr (Count == 1)
    return mask(std::integral_constant<unsigned, First>{});
  else
    return packed(packed_masks<First, Count / 2>(mask), packed_masks<First + Count / 2, Count / 2>(mask));
}

// One bit for each of 64 codes.  The masks have ones for codes that do not match, since the comparison instruction
// finds greater numbers.  mask(group, v) is the mask of vector v of a group.
template <class Lanes, class Mask>
[[gnu::always_inline]] inline uint64_t hits(Mask mask) {
  uint64_t misses = 0;
#pragma GCC unroll 4
  for (unsigned group = 0; group < word_groups; ++group)
    misses |= uint64_t{top_bits(packed_masks<0, Lanes::vectors>([&](auto v) { return mask(group, v); }))}
              << (group * group_codes);
  return ~misses;
}

// A copy of the last codes of a stream, at most one block, with zeros after them.
template <class Lanes>
class padded_block {
public:
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): it is filled before it is read
  padded_block() {}

  const uint8_t *copy(const uint8_t *block, uint64_t ncodes, unsigned width) {
    const uint64_t bits = ncodes * width, size = (bits + 7) / 8;
    std::memset(bytes_, 0, sizeof bytes_);
    std::memcpy(bytes_, block, size);
    if (bits % 8 != 0) // a stray bit would make a code that no row has, and a set has no word for it
      bytes_[size - 1] = static_cast<uint8_t>(bytes_[size - 1] & 0xff00U >> bits % 8);
    return bytes_;
  }

private:
  uint8_t bytes_[8 * Lanes::bits + half_bytes];
};

// The number of blocks of ncodes codes whose halves can be loaded whole, without a read after the last code.  A vector
// may use fewer bytes than a load reads.  The other blocks go through a copy.
template <class Lanes>
uint64_t whole_blocks(const Lanes &lanes, uint64_t ncodes) {
  const uint64_t size = (ncodes * lanes.width() + 7) / 8;
  return size < lanes.slack() ? 0 : std::min((size - lanes.slack()) / lanes.block_bytes(), ncodes / 64);
}

// Writes match(word, block) for each word of 64 of nrows packed codes, zeros up to the end of the last word, and
// returns the number of ones.
template <class Lanes, class Match>
[[gnu::always_inline]] inline uint32_t select_words(const Lanes &lanes, const uint8_t *stream, uint32_t nrows,
                                                    Match match, uint64_t *out) {
  const uint64_t whole = whole_blocks(lanes, nrows), words = words_of(nrows);
  padded_block<Lanes> last;
  uint32_t count = 0;
  for (uint64_t word = 0; word < words;) {
    const uint8_t *block = stream + word * lanes.block_bytes();
    uint64_t end = whole, rows = UINT64_MAX;
    if (word >= whole) {
      const uint64_t left = std::min<uint64_t>(nrows - 64 * word, 64);
      block = last.copy(block, left, lanes.width());
      rows = low_bits(left);
      end = word + 1;
    }
    for (; word < end; ++word, block += lanes.block_bytes()) {
      const uint64_t bits = match(word, block) & rows;
      set_word(out, word, bits);
      count += popcount(bits);
    }
  }
  return count;
}

// The same for a test that takes the lanes of a vector.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint32_t select_codes(const Lanes &lanes, const uint8_t *stream, uint32_t nrows,
                                                    const Test &test, uint64_t *out) {
  const auto match = [&](uint64_t /*word*/, const uint8_t *block) {
    return hits<Lanes>([&](unsigned group, auto v) { return test(lanes.top(block, group, v)); });
  };
  return select_words(lanes, stream, nrows, match, out);
}

} // namespace vorn::inline VORN_LEVEL
