// The steps of the decoders: from codes to elements of 1, 2 or 4 bytes, 64 at a time.
#pragma once

#include "isa/block_steps.hpp"
#include "isa/own_loops.hpp"
#include "isa/select.hpp"

namespace vorn::inline VORN_LEVEL {

template <class Lanes, class Element>
[[gnu::noinline]] void unpack_range_in(unsigned width, const code_stream &codes, uint32_t n, Element *out) {
  const Lanes lanes(width);
  const code_blocks<Lanes> blocks(lanes, codes.bytes, codes.ncodes, n);
  const uint64_t whole = n / 64, in_stream = std::min(blocks.in_stream(), whole);
  Element last[64];
  for (uint64_t first = 0; first < blocks.size();) {
    const uint64_t end = first < in_stream ? in_stream : first < whole ? whole : blocks.size();
    const uint8_t *block = blocks[first];
    Element *to = first < whole ? out + 64 * first : last;
    for (const Element *const stop = to + 64 * (end - first); to != stop; to += 64, block += lanes.block_bytes())
      unpack_block(lanes, block, to);
    first = end;
  }
  std::copy_n(last, n % 64, out + n / 64 * 64);
}

// Unpacks the first n codes of a stream.
template <class Element>
void unpack_range(unsigned width, const code_stream &codes, uint32_t n, Element *out) {
  with_element_lanes<Element>(
      width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) { unpack_range_in<Lanes>(width, codes, n, out); });
}

// The position of the last one before a row.  The filter has a one before that row.
inline uint32_t last_one(const uint64_t *rows, uint32_t before) {
  uint32_t word = (before - 1) / 64;
  uint64_t bits = get_word(rows, word) & low_bits(before - 64 * word);
  while (bits == 0)
    bits = get_word(rows, --word);
  return 64 * word + 63 - static_cast<uint32_t>(__builtin_clzll(bits));
}

// The other steps.  The compiler vectorises block_steps only if the level has shifts that differ between lanes.
template <unsigned W, class Element>
using other_steps = std::conditional_t<sizeof(vector) != 16, block_steps<W, Element>, code_steps<W, Element>>;

template <unsigned W, class Element>
struct lane_steps : other_steps<W, Element> {
  using by_rows = code_steps<W, Element>;

  static void range(const code_stream &stream, uint64_t first, uint32_t n, void *elements) {
    if constexpr (W == 8 && sizeof(Element) == 1) // bytes are copied
      return by_rows::range(stream, first, n, elements);
    auto *out = static_cast<Element *>(elements);
    const uint32_t head = by_rows::start_of_range(stream, first, n, out);
    first += head;
    unpack_range(W, {stream.bytes + first / 8 * W, stream.ncodes - first}, n - head, out + head);
  }

  // The rows that unpack_filter leaves are read one by one.
  static uint32_t filter(const code_stream &stream, const uint64_t *rows, uint32_t first, uint32_t &room,
                         void *elements) {
    auto *out = static_cast<Element *>(elements);
    if constexpr (can_compress<Element>) {
      const uint32_t before = room;
      first = unpack_filter(W, stream, rows, first, room, out);
      out += before - room;
      if (room == 0 && before != 0)
        return last_one(rows, std::min(first, static_cast<uint32_t>(stream.ncodes)));
    }
    return by_rows::filter(stream, rows, first, room, out);
  }
};

} // namespace vorn::inline VORN_LEVEL
