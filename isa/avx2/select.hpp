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

// One bit for each of 64 codes; the codes of vector v of a group are top(group, v).  A test answers with ones for what
// it does not take, since a comparison tells what is greater.
template <class Lanes, class Test, class Top>
[[gnu::always_inline]] inline uint64_t answer(const Test &test, Top top) {
  uint64_t misses = 0;
#pragma GCC unroll 4
  for (unsigned group = 0; group < word_groups; ++group)
    misses |= uint64_t{top_bits(packed_masks<0, Lanes::vectors>([&](auto v) { return test(top(group, v)); }))}
              << (group * group_codes);
  return ~misses;
}

template <class Lanes, class Test>
[[gnu::always_inline]] inline uint64_t answer_block(const Test &test, const uint8_t *block) {
  return answer<Lanes>(test, [=](unsigned group, auto v) { return Lanes::template top<v>(block, group); });
}

// Sets a bit for each of nrows packed codes that the test takes, zeros up to the end of the last word, and returns how
// many these are.  Halves are loaded whole, though a vector may have fewer bytes in them, so that the last words go
// through a copy: nothing is read behind the last code.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint32_t select_codes(const uint8_t *stream, uint32_t nrows, const Test &test,
                                                    uint64_t *out) {
  const uint64_t size = (uint64_t{nrows} * Lanes::width + 7) / 8;
  const uint64_t whole = size < Lanes::slack ? 0 : (size - Lanes::slack) / Lanes::block_bytes;
  uint32_t count = 0;
  for (uint64_t word = 0; word < whole; ++word) {
    out[word] = answer_block<Lanes>(test, stream + word * Lanes::block_bytes);
    count += popcount(out[word]);
  }
  for (uint64_t word = whole; word < words_of(nrows); ++word) {
    uint8_t copy[Lanes::block_bytes + Lanes::slack] = {};
    const uint64_t before = word * Lanes::block_bytes;
    std::memcpy(copy, stream + before, std::min<uint64_t>(size - before, Lanes::block_bytes));
    out[word] = answer_block<Lanes>(test, copy) & low_bits(nrows - 64 * word);
    count += popcount(out[word]);
  }
  return count;
}

} // namespace vorn::inline VORN_LEVEL
