// The steps of the decoders.
#pragma once

#include "isa/block_steps.hpp"
#include "isa/vbmi/kernels.hpp"

namespace vorn::inline VORN_LEVEL {

// The position of the last one before a row.  The filter has a one before that row.
inline uint32_t last_one(const uint64_t *rows, uint32_t before) {
  uint32_t word = (before - 1) / 64;
  uint64_t bits = get_word(rows, word) & low_bits(before - 64 * word);
  while (bits == 0)
    bits = get_word(rows, --word);
  return 64 * word + 63 - static_cast<uint32_t>(__builtin_clzll(bits));
}

template <unsigned W, class Element>
struct lane_steps : block_steps<W, Element> {
  using by_rows = code_steps<W, Element>;

  static void range(const code_stream &stream, uint64_t first, uint32_t n, void *elements) {
    if constexpr (W == 8 && sizeof(Element) == 1) // bytes are copied
      return by_rows::range(stream, first, n, elements);
    auto *out = static_cast<Element *>(elements);
    const uint32_t head = by_rows::start_of_range(stream, first, n, out);
    const uint8_t *codes = stream.bytes + (first + head) / 8 * W;
    vbmi_kernels::unpack_range(W, sizeof(Element), codes, n - head, out + head);
  }

  static uint32_t filter(const code_stream &stream, const uint64_t *rows, uint32_t first, uint32_t &room,
                         void *elements) {
    if (room == 0)
      return by_rows::filter(stream, rows, first, room, elements);
    const auto nrows = static_cast<uint32_t>(stream.ncodes);
    const uint32_t before = room;
    const uint32_t next =
        vbmi_kernels::unpack_filter(W, sizeof(Element), stream.bytes, nrows, rows, first, room, elements);
    if (room == 0)
      return last_one(rows, std::min(next, nrows));
    return by_rows::filter(stream, rows, next, room, static_cast<Element *>(elements) + (before - room));
  }
};

} // namespace vorn::inline VORN_LEVEL
