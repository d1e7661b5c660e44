// Codes whose bits are set in a map: a byte of the map and a bit of it, both looked up in registers as long as the map
// fits there.  Wider codes are only unpacked in vectors.
#pragma once

#include "generic/scan/dict.hpp"
#include "generic/scan/membership.hpp"
#include "isa/avx2/bits.hpp"
#include "isa/avx2/elements.hpp"
#include "isa/avx2/select.hpp"

namespace vorn::inline VORN_LEVEL {

// The words of a map for codes of W bits.  It may have fewer words, since it ends with the highest code of the column;
// what follows on the same page may be looked at, and belongs to no code of a row.
template <unsigned W>
struct map_words {
  static constexpr unsigned size = W <= 6 ? 1 : 1U << (W - 6);
  uint64_t words[4] = {};

  [[gnu::no_sanitize_address]] explicit map_words(const uint64_t *map) {
    for (unsigned i = 0; i < size; ++i)
      words[i] = map[i];
  }

  static bool readable(const uint64_t *map) {
    constexpr uintptr_t page = 4096;
    return reinterpret_cast<uintptr_t>(map) % page <= page - 8 * size;
  }
};

template <unsigned W>
class in_map {
  static constexpr unsigned spare = 8 - W;

public:
  explicit in_map(const uint64_t *map) {
    const map_words<W> known(map);
    low_ = in_each_half(load_half(known.words));
    high_ = in_each_half(load_half(known.words + 2));
  }

  vector operator()(vector x) const {
    const vector code = W == 8 ? x : VORN_VECTOR(srli_epi16)(x, spare) & bytes(0xff >> spare);
    const vector bit = shuffled(in_each_half(single_bits), code & bytes(7));
    const vector index = VORN_VECTOR(srli_epi16)(code, 3) & bytes(W == 8 ? 15 : 0xff >> spare >> 3);
    if constexpr (W < 8)
      return lanes_of<uint8_t>::equal(shuffled(low_, index) & bit, none());
    // A byte of the map comes from the half that the top bit of the code tells; the other half gives 0.
    const vector upper = code & bytes(0x80);
    const vector byte = shuffled(low_, index | upper) | shuffled(high_, index | (upper ^ bytes(0x80)));
    return lanes_of<uint8_t>::equal(byte & bit, none());
  }

private:
  static constexpr std::array<uint8_t, 16> single_bits = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};

  static vector bytes(unsigned x) { return lanes_of<uint8_t>::all(x); }

  vector low_, high_;
};

// The map must be readable as far as its words go.
template <unsigned W>
[[gnu::noinline]] uint32_t select_members(const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out) {
  if constexpr (W == 1)
    return select_bits(stream, nrows, map[0] & 1, map[0] & 2, out);
  else
    return select_codes<code_lanes<W>>(stream, nrows, in_map<W>(map), out);
}

// Codes of more than 8 bits.  No code but those of rows is looked up.
template <unsigned W>
[[gnu::noinline]] uint32_t select_members(const dict<W> &rows, uint32_t nrows, const membership &asked, uint64_t *out) {
  using lanes = code_lanes<W>;
  const uint64_t whole = whole_blocks<lanes>(nrows);
  uint32_t count = 0;
  for (uint64_t word = 0; word < words_of(nrows); ++word) {
    if (word < whole) {
      lane<W> codes[64];
      unpack_block<W>(rows.stream() + word * lanes::block_bytes, codes);
      out[word] = asked.match64<lane<W>>([&](unsigned i) { return codes[i]; });
    } else {
      out[word] = rows.match(word, asked);
    }
    count += popcount(out[word]);
  }
  return count;
}

} // namespace vorn::inline VORN_LEVEL
