// Vectors of 32 bytes, or of 16 bytes if a level has no others.  A vector is one or two halves of 16 bytes.  No
// operation here moves a byte from one half to the other, so the same code works for both sizes.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstdint>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

#ifdef __AVX2__
  #define VORN_VECTOR(operation) _mm256_##operation
using vector = __m256i;
#else
  #define VORN_VECTOR(operation) _mm_##operation
using vector = __m128i;
#endif

inline constexpr unsigned half_bytes = 16;
inline constexpr unsigned halves = sizeof(vector) / half_bytes;

inline __m128i load_half(const void *bytes) { return _mm_loadu_si128(static_cast<const __m128i *>(bytes)); }
inline void store_half(void *bytes, __m128i half) { _mm_storeu_si128(static_cast<__m128i *>(bytes), half); }

// The same 16 bytes in each half.
inline vector in_each_half(__m128i half) {
#ifdef __AVX2__
  return _mm256_broadcastsi128_si256(half);
#else
  return half;
#endif
}
template <class T, size_t N>
inline vector in_each_half(const std::array<T, N> &table) {
  static_assert(sizeof table == half_bytes);
  return in_each_half(load_half(table.data()));
}

// Loads and stores of halves that begin `distance` bytes apart.
inline vector load_halves(const uint8_t *first, [[maybe_unused]] size_t distance) {
#ifdef __AVX2__
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load_half(first)), load_half(first + distance), 1);
#else
  return load_half(first);
#endif
}
inline void store_halves(uint8_t *first, [[maybe_unused]] size_t distance, vector x) {
#ifdef __AVX2__
  store_half(first, _mm256_castsi256_si128(x));
  store_half(first + distance, _mm256_extracti128_si256(x, 1));
#else
  store_half(first, x);
#endif
}

inline vector none() { return vector{}; }
inline vector shuffled(vector x, vector indices) { return VORN_VECTOR(shuffle_epi8)(x, indices); }
// Chooses each byte by the top bit of the byte of the mask.
inline vector chosen(vector clear, vector set, vector mask) { return VORN_VECTOR(blendv_epi8)(clear, set, mask); }
// Packs the lanes of two masks to half their size.  Within a half the lanes of `first` come first.
inline vector packed(vector first, vector second) { return VORN_VECTOR(packs_epi16)(first, second); }
// The top bit of each byte.
inline uint32_t top_bits(vector x) { return static_cast<uint32_t>(VORN_VECTOR(movemask_epi8)(x)); }

// Operations on lanes, by the type of a lane.  Comparisons take signed numbers and set all bits of a lane.
template <class Lane>
struct lanes_of;

#define VORN_LANES(Lane, bits, set1, Number)                                                                           \
  template <>                                                                                                          \
  struct lanes_of<Lane> {                                                                                              \
    static vector all(uint64_t x) { return VORN_VECTOR(set1)(static_cast<Number>(x)); }                                \
    static vector subtract(vector a, vector b) { return VORN_VECTOR(sub_epi##bits)(a, b); }                            \
    static vector greater(vector a, vector b) { return VORN_VECTOR(cmpgt_epi##bits)(a, b); }                           \
    static vector equal(vector a, vector b) { return VORN_VECTOR(cmpeq_epi##bits)(a, b); }                             \
  };
VORN_LANES(uint8_t, 8, set1_epi8, char)
VORN_LANES(uint16_t, 16, set1_epi16, int16_t)
VORN_LANES(uint32_t, 32, set1_epi32, int)
VORN_LANES(uint64_t, 64, set1_epi64x, long long)
#undef VORN_LANES

} // namespace vorn::inline VORN_LEVEL
