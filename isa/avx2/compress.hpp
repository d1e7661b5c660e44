// The selected ones of some elements, one behind the other, by a table of the ones of a byte.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "frame/bits.hpp"
#include "isa/avx2/vector.hpp"

namespace vorn::inline VORN_LEVEL {

// The places of the ones of each byte, in ascending order; what follows them is of no account.
inline constexpr auto ones_of_byte = [] {
  std::array<std::array<uint8_t, 8>, 256> out = {};
  for (unsigned byte = 0; byte < 256; ++byte)
    for (unsigned place = 0, n = 0; place < 8; ++place)
      if (byte >> place & 1)
        out[byte][n++] = static_cast<uint8_t>(place);
  return out;
}();

inline __m128i load_ones(unsigned byte) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(ones_of_byte[byte].data()));
}

// Elements of 4 bytes take a permutation over both halves.
template <class Element>
inline constexpr bool can_compress = halves == 2 || sizeof(Element) < 4;

// Eight elements, of which those of a byte are selected, and up to eight are written.
template <class Element>
[[gnu::always_inline]] inline void compress8(const Element *from, unsigned byte, Element *to) {
  const __m128i ones = load_ones(byte);
  if constexpr (sizeof(Element) == 1) {
    const __m128i elements = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(from));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to), _mm_shuffle_epi8(elements, ones));
  } else if constexpr (sizeof(Element) == 2) {
    const __m128i twice = _mm_add_epi8(ones, ones);
    const __m128i places = _mm_unpacklo_epi8(twice, _mm_add_epi8(twice, _mm_set1_epi8(1)));
    store_half(to, _mm_shuffle_epi8(load_half(from), places));
  } else {
#ifdef __AVX2__
    // They have just been stored by halves, and no wider load takes them from there at once.
    const __m256i elements = load_halves(reinterpret_cast<const uint8_t *>(from), half_bytes);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to),
                        _mm256_permutevar8x32_epi32(elements, _mm256_cvtepu8_epi32(ones)));
#endif
  }
}

// Those of 64 elements that a word selects.  There is room for 64; returns where the selected ones end.
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
