// From codes to elements of 1, 2 or 4 bytes, 64 at a time.
#pragma once

#include "isa/avx2/compress.hpp"
#include "isa/avx2/elements.hpp"
#include "isa/avx2/select.hpp"
#include "isa/block_steps.hpp"

namespace vorn::inline VORN_LEVEL {

// Calls call(type) with the lanes of a width if their codes can become elements of a type.  The lanes have the size of
// the element, or the element has 4 bytes.
template <class Element, class Call>
[[gnu::always_inline]] inline void with_lanes_of(unsigned width, Call call) {
  with_lanes<32>(width, [&]<class Lanes>(std::type_identity<Lanes> type) {
    if constexpr (sizeof(Element) == 4 || sizeof(Element) == sizeof(typename Lanes::number))
      call(type);
  });
}

template <class Lanes, class Element>
[[gnu::noinline]] void unpack_range_in(unsigned width, const code_stream &codes, uint32_t n, Element *out) {
  const Lanes lanes(width);
  const uint8_t *block = codes.bytes;
  for (uint64_t whole = std::min<uint64_t>(whole_blocks(lanes, codes.ncodes), n / 64); whole != 0; --whole) {
    unpack_block(lanes, block, out);
    block += lanes.block_bytes();
    out += 64;
    n -= 64;
  }
  for (padded_block<Lanes> last; n != 0; block += lanes.block_bytes()) {
    const uint32_t some = std::min(n, 64U);
    Element rest[64];
    unpack_block(lanes, last.copy(block, some, width), rest);
    std::copy_n(rest, some, out);
    out += some;
    n -= some;
  }
}

// Unpacks the first n codes of a stream.
template <class Element>
void unpack_range(unsigned width, const code_stream &codes, uint32_t n, Element *out) {
  with_lanes_of<Element>(
      width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) { unpack_range_in<Lanes>(width, codes, n, out); });
}

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
  for (const uint64_t whole = whole_blocks(lanes, stream.ncodes); left >= 64 && word < whole; ++word) {
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
    with_lanes_of<Element>(width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) {
      first = unpack_filter_in<Lanes>(width, stream, rows, first, left, room, out);
    });
  return first;
}

// The other steps.  The compiler vectorises block_steps only if the level has shifts that differ between lanes.
template <unsigned W, class Element>
using other_steps = std::conditional_t<halves == 2, block_steps<W, Element>, code_steps<W, Element>>;

// Codes of W bits to elements of 1, 2 or 4 bytes, 64 at a time.
template <unsigned W, class Element>
struct lane_steps : other_steps<W, Element> {
  using base = code_steps<W, Element>;

  static void range(const code_stream &stream, uint64_t first, uint32_t n, void *elements) {
    if constexpr (W == 8 && sizeof(Element) == 1)
      return base::range(stream, first, n, elements);
    auto *out = static_cast<Element *>(elements);
    const uint32_t head = base::start_of_range(stream, first, n, out);
    first += head;
    unpack_range(W, {stream.bytes + first / 8 * W, stream.ncodes - first}, n - head, out + head);
  }

  // The rows are read one by one if a word of the filter has few rows, and at the end.
  static uint32_t filter(const code_stream &stream, const uint64_t *rows, uint32_t first, uint32_t &room,
                         void *elements) {
    auto *out = static_cast<Element *>(elements);
    if constexpr (can_compress<Element>) {
      const uint32_t before = room;
      first = unpack_filter(W, stream, rows, first, room, out);
      out += before - room;
    }
    return base::filter(stream, rows, first, room, out);
  }
};

} // namespace vorn::inline VORN_LEVEL
