// The steps of the decoders for levels whose vectors reverse bytes: the bytes of the codes of a list are loaded first,
// and the rest becomes vector code; so do the addresses of their values.
#pragma once

#include <iterator>

#include "generic/decode/code_steps.hpp"

namespace vorn::inline VORN_LEVEL {

// The addresses of the values of n codes.
[[gnu::noinline]] inline void list_addresses(const uint32_t *codes, uint32_t n, equal_symbols symbols,
                                             const uint8_t **vals) {
  for (uint32_t i = 0; i < n; ++i)
    vals[i] = symbols.address(codes[i]);
}

template <unsigned W, class Element>
struct block_steps : code_steps<W, Element> {
  using base = code_steps<W, Element>;

  [[gnu::noinline]] static void list(const code_stream &stream, const uint32_t *places, uint32_t n, void *elements) {
    if constexpr (W == 8 * sizeof(lane<W>)) {
      base::list(stream, places, n, elements);
    } else {
      constexpr uint32_t block = 32;
      auto *out = static_cast<Element *>(elements);
      const uint64_t size = (stream.ncodes * W + 7) / 8;
      for (; n >= block; n -= block, places += block, out += block) {
        uint32_t last = 0;
        for (uint32_t i = 0; i < block; ++i)
          last = std::max(last, places[i]);
        if (uint64_t{last} * W / 8 + sizeof(uint32_t) <= size)
          list_block<block>(stream.bytes, places, out);
        else
          base::list(stream, places, block, out);
      }
      base::list(stream, places, n, out);
    }
  }

  [[gnu::noinline]] static void addresses(const code_stream &stream, const uint32_t *places, uint32_t n,
                                          const equal_symbols &symbols, const uint8_t **vals) {
    if constexpr (W == 8 || W == 16) // soon read one by one
      return base::addresses(stream, places, n, symbols, vals);
    uint32_t codes[256];
    while (n != 0) {
      const uint32_t some = std::min<uint32_t>(n, std::size(codes));
      block_steps<W, uint32_t>::list(stream, places, some, codes);
      list_addresses(codes, some, symbols, vals);
      n -= some;
      places += some;
      vals += some;
    }
  }

private:
  template <uint32_t N>
  static void list_block(const uint8_t *stream, const uint32_t *places, Element *out) {
    uint32_t bytes[N];
    for (uint32_t i = 0; i < N; ++i)
      std::memcpy(bytes + i, stream + uint64_t{places[i]} * W / 8, sizeof bytes[i]);
    for (uint32_t i = 0; i < N; ++i)
      out[i] = static_cast<Element>(__builtin_bswap32(bytes[i]) << places[i] * W % 8 >> (32 - W));
  }
};

} // namespace vorn::inline VORN_LEVEL
