// The codes of the rows of a filter as elements of 1, 2 or 4 bytes.  They are compressed in a register.
#pragma once

#include "generic/decode/code_steps.hpp"
#include "isa/select.hpp"

namespace vorn::inline VORN_LEVEL {

template <class Element>
inline constexpr bool can_compress = true;

template <class Element>
inline void store_first(Element *out, uint64_t n, vector elements) {
  const uint64_t mask = low_bits(n);
  if constexpr (sizeof(Element) == 1)
    _mm512_mask_storeu_epi8(out, mask, elements);
  else if constexpr (sizeof(Element) == 2)
    _mm512_mask_storeu_epi16(out, static_cast<__mmask32>(mask), elements);
  else
    _mm512_mask_storeu_epi32(out, static_cast<__mmask16>(mask), elements);
}

template <class Element>
inline vector compressed(uint64_t mask, vector elements) {
  if constexpr (sizeof(Element) == 1)
    return _mm512_maskz_compress_epi8(mask, elements);
  else if constexpr (sizeof(Element) == 2)
    return _mm512_maskz_compress_epi16(static_cast<__mmask32>(mask), elements);
  else
    return _mm512_maskz_compress_epi32(static_cast<__mmask16>(mask), elements);
}

template <class Lanes, class Element>
[[gnu::noinline]] uint32_t unpack_filter_in(unsigned width, const code_stream &stream, const uint64_t *filter,
                                            uint32_t first, uint32_t &room, Element *out) {
  const Lanes lanes(width);
  const uint64_t nrows = stream.ncodes;
  const code_blocks<Lanes> blocks(lanes, stream.bytes, nrows, nrows);
  uint64_t word = first / 64;
  uint64_t from_first = UINT64_MAX << first % 64;
  for (; word < blocks.size(); ++word, from_first = UINT64_MAX) {
    const uint64_t rows = get_word(filter, word) & from_first & low_bits(nrows - 64 * word);
    if (rows == 0)
      continue;
    const uint32_t count = popcount(rows);
    if (count > room)
      break;
    room -= count;
    const uint8_t *block = blocks[word];
    for (unsigned v = 0; v < Lanes::vectors; ++v) {
      const uint64_t these = rows >> (v * Lanes::codes) & low_bits(Lanes::codes);
      const uint32_t some = popcount(these);
      store_first(out, some, compressed<Element>(these, lanes.exact(block, 0, v)));
      out += some;
    }
  }
  return static_cast<uint32_t>(std::max<uint64_t>(first, 64 * word));
}

// Writes the codes of the rows of a filter from row `first` on.  It goes word by word, as long as there is room for all
// rows of a word.  Returns the row after the last word.  `room` becomes the rest of the room.
template <class Element>
uint32_t unpack_filter(unsigned width, const code_stream &stream, const uint64_t *filter, uint32_t first,
                       uint32_t &room, Element *out) {
  if (room == 0)
    return first;
  return with_element_lanes<Element>(width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) {
    return unpack_filter_in<Lanes>(width, stream, filter, first, room, out);
  });
}

} // namespace vorn::inline VORN_LEVEL
