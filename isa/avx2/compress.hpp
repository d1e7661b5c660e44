// Compression: writes the selected elements one after the other, by a table of the ones of each byte.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "frame/bits.hpp"
#include "isa/avx2/vector.hpp"

namespace vorn::inline VORN_LEVEL {

// The positions of the ones of each byte, in ascending order.  The entries after them have no meaning.
inline constexpr auto ones_of_byte = [] {
  std::array<std::array<uint8_t, 8>, 256> out = {};
  for (unsigned byte = 0; byte < 256; ++byte)
    for (unsigned bit = 0, n = 0; bit < 8; ++bit)
      if (byte >> bit & 1)
        out[byte][n++] = static_cast<uint8_t>(bit);
  return out;
}();

inline __m128i load_ones(unsigned byte) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(ones_of_byte[byte].data()));
}

// Elements of 4 bytes need a permutation across both halves.
template <class Element>
inline constexpr bool can_compress = halves == 2 || sizeof(Element) < 4;

// Compresses eight elements.  The ones of a byte select elements.  Up to eight elements are written.
template <class Element>
[[gnu::always_inline]] inline void compress8(const Element *from, unsigned byte, Element *to) {
  const __m128i ones = load_ones(byte);
  if constexpr (sizeof(Element) == 1) {
    const __m128i elements = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(from));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to), _mm_shuffle_epi8(elements, ones));
  } else if constexpr (sizeof(Element) == 2) {
    const __m128i twice = _mm_add_epi8(ones, ones);
    const __m128i indices = _mm_unpacklo_epi8(twice, _mm_add_epi8(twice, _mm_set1_epi8(1)));
    store_half(to, _mm_shuffle_epi8(load_half(from), indices));
  } else {
#ifdef __AVX2__
    // The elements were just stored by halves.  A wider load would wait until the stores have reached the cache.
    const __m256i elements = load_halves(reinterpret_cast<const uint8_t *>(from), half_bytes);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to),
                        _mm256_permutevar8x32_epi32(elements, _mm256_cvtepu8_epi32(ones)));
#endif
  }
}

// Writes the elements among 64 that a word selects.  There is room for 64.  Returns the end of the selected elements.
template <class Element>
[[gnu::always_inline]] inline Element *compress(const Element *from, uint64_t word, Element *to) {
  for (unsigned i = 0; i < 64; i += 8) {
    const auto byte = static_cast<unsigned>(word >> i & 0xff);
    compress8(from + i, byte, to);
    to += popcount(byte);
  }
  return to;
}

} // namespace vorn::inline VORN_LEVEL
