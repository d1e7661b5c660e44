// The codes of the rows of a filter as elements of 1, 2 or 4 bytes.  The codes of a word are unpacked, then compressed.
#pragma once

#include "generic/decode/code_steps.hpp"
#include "isa/avx2/compress.hpp"
#include "isa/select.hpp"

namespace vorn::inline VORN_LEVEL {

// The number of rows of a filter from `first` on, at most `room`.  Returns 0 if single rows are faster: if a word has
// fewer than `break_even` rows on average, either in all words or in the first words.
inline uint64_t rows_to_compress(uint64_t nrows, const uint64_t *rows, uint64_t first, uint32_t room,
                                 uint64_t break_even) {
  constexpr uint64_t first_words = 32;
  uint64_t ones = 0, words = 0, from_first = UINT64_MAX << first % 64;
  for (uint64_t row = first / 64 * 64; row < nrows && ones < room; row += 64, ++words) {
    if (words == first_words && ones < break_even * words)
      return 0;
    ones += popcount(get_word(rows, row / 64) & from_first & low_bits(nrows - row));
    from_first = UINT64_MAX;
  }
  return ones < break_even * words ? 0 : std::min<uint64_t>(ones, room);
}

// Compresses the codes of whole words from `first` on, while `left`, the number of rows to write, is at least 64.
template <class Lanes, class Element>
[[gnu::noinline]] uint32_t unpack_filter_in(unsigned width, const code_stream &stream, const uint64_t *rows,
                                            uint32_t first, uint64_t left, uint32_t &room, Element *out) {
  const Lanes lanes(width);
  uint64_t word = first / 64, from_first = UINT64_MAX << first % 64;
  const uint8_t *block = stream.bytes + word * lanes.block_bytes();
  for (const uint64_t whole = code_blocks<Lanes>::whole(lanes, stream.ncodes); left >= 64 && word < whole; ++word) {
    Element elements[64];
    unpack_block(lanes, block, elements);
    const Element *const end = compress(elements, get_word(rows, word) & from_first, out);
    left -= static_cast<uint64_t>(end - out);
    room -= static_cast<uint32_t>(end - out);
    out += end - out;
    block += lanes.block_bytes();
    from_first = UINT64_MAX;
  }
  return std::max(first, static_cast<uint32_t>(64 * word));
}

// Writes the codes of the rows of a filter from `first` on, a word at a time, if the filter has enough rows in a word,
// and as long as a vector ends within the result.  Returns the row where it stopped.  `room` becomes the rest of the
// room.
template <class Element>
uint32_t unpack_filter(unsigned width, const code_stream &stream, const uint64_t *rows, uint32_t first, uint32_t &room,
                       Element *out) {
  const uint64_t break_even = width % 8 == 0 ? 4 + sizeof(Element) : 5; // single codes of whole bytes are cheap to read
  const uint64_t left = rows_to_compress(stream.ncodes, rows, first, room, break_even);
  if (left >= 64)
    with_element_lanes<Element>(width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) {
      first = unpack_filter_in<Lanes>(width, stream, rows, first, left, room, out);
    });
  return first;
}

} // namespace vorn::inline VORN_LEVEL
