// The steps of the decoders for levels with vector instructions for byte shuffles.  The bytes of the codes of a list
// are loaded first.  The compiler vectorises the rest, and also the addresses of the values.
#pragma once

#include <iterator>

#include "generic/decode/code_steps.hpp"

namespace vorn::inline VORN_LEVEL {

// Finds the addresses of the values of n codes.
[[gnu::noinline]] inline void list_addresses(const uint32_t *codes, uint32_t n, equal_symbols symbols,
                                             const uint8_t **vals) {
  for (uint32_t i = 0; i < n; ++i)
    vals[i] = symbols.address(codes[i]);
}

template <unsigned W, class Element>
struct block_steps : code_steps<W, Element> {
  using base = code_steps<W, Element>;

  [[gnu::noinline]] static void list(const code_stream &stream, const uint32_t *positions, uint32_t n, void *elements) {
    if constexpr (W == 8 * sizeof(lane<W>)) {
      base::list(stream, positions, n, elements);
    } else {
      constexpr uint32_t block = 32;
      auto *out = static_cast<Element *>(elements);
      const uint64_t size = (stream.ncodes * W + 7) / 8;
      for (; n >= block; n -= block, positions += block, out += block) {
        uint32_t last = 0;
        for (uint32_t i = 0; i < block; ++i)
          last = std::max(last, positions[i]);
        if (uint64_t{last} * W / 8 + sizeof(uint32_t) <= size)
          list_block<block>(stream.bytes, positions, out);
        else
          base::list(stream, positions, block, out);
      }
      base::list(stream, positions, n, out);
    }
  }

  [[gnu::noinline]] static void addresses(const code_stream &stream, const uint32_t *positions, uint32_t n,
                                          const equal_symbols &symbols, const uint8_t **vals) {
    if constexpr (W == 8 || W == 16) // codes of whole bytes are read faster one by one
      return base::addresses(stream, positions, n, symbols, vals);
    uint32_t codes[256];
    while (n != 0) {
      const uint32_t some = std::min<uint32_t>(n, std::size(codes));
      block_steps<W, uint32_t>::list(stream, positions, some, codes);
      list_addresses(codes, some, symbols, vals);
      n -= some;
      positions += some;
      vals += some;
    }
  }

private:
  template <uint32_t N>
  static void list_block(const uint8_t *stream, const uint32_t *positions, Element *out) {
    uint32_t bytes[N];
    for (uint32_t i = 0; i < N; ++i)
      std::memcpy(bytes + i, stream + uint64_t{positions[i]} * W / 8, sizeof bytes[i]);
    for (uint32_t i = 0; i < N; ++i)
      out[i] = static_cast<Element>(__builtin_bswap32(bytes[i]) << positions[i] * W % 8 >> (32 - W));
  }
};

} // namespace vorn::inline VORN_LEVEL
