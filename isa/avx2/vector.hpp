// Vectors of 32 bytes, or of 16 bytes if a level has no others.  A vector is one or two halves of 16 bytes.  No
// operation here moves a byte from one half to the other, so the same code works for both sizes.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "frame/bits.hpp"
#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

#ifdef __AVX2__
  #define VORN_VECTOR(operation) _mm256_##operation
  #define VORN_WHOLE(operation)  _mm256_##operation##_si256
using vector = __m256i;
#else
  #define VORN_VECTOR(operation) _mm_##operation
  #define VORN_WHOLE(operation)  _mm_##operation##_si128
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

// Vectors at any address.  Bytes were often just stored by halves, and a wider load would wait for the stores.
inline vector load_vector(const void *bytes) { return load_halves(static_cast<const uint8_t *>(bytes), half_bytes); }
inline void store_vector(void *bytes, vector x) { store_halves(static_cast<uint8_t *>(bytes), half_bytes, x); }

inline vector none() { return vector{}; }
inline vector all_bytes(unsigned x) { return VORN_VECTOR(set1_epi8)(static_cast<char>(x)); }
inline vector shuffled(vector x, vector indices) { return VORN_VECTOR(shuffle_epi8)(x, indices); }
// Chooses each byte by the top bit of the byte of the mask.
inline vector chosen(vector clear, vector set, vector mask) { return VORN_VECTOR(blendv_epi8)(clear, set, mask); }
// Packs the lanes of two masks to half their size.  Within a half the lanes of `first` come first.
inline vector packed(vector first, vector second) { return VORN_VECTOR(packs_epi16)(first, second); }
// The top bit of each byte.
inline uint32_t top_bits(vector x) { return static_cast<uint32_t>(VORN_VECTOR(movemask_epi8)(x)); }

// Reverses the bits of each byte, by a table of nibbles.
inline vector reversed_bytes(vector x) {
  constexpr auto nibbles = [](unsigned shift) {
    std::array<uint8_t, 16> out = {};
    for (unsigned i = 0; i < 16; ++i)
      out[i] = static_cast<uint8_t>(((i & 1) << 3 | (i & 2) << 1 | (i & 4) >> 1 | (i & 8) >> 3) << shift);
    return out;
  };
  constexpr std::array<uint8_t, 16> to_high = nibbles(4), to_low = nibbles(0);
  const vector nibble = all_bytes(15);
  return shuffled(in_each_half(to_high), x & nibble) |
         shuffled(in_each_half(to_low), VORN_VECTOR(srli_epi16)(x, 4) & nibble);
}

// Copies size >= 1 bytes and writes zeros up to a capacity, in whole halves.  Of the last byte only the bits of a mask
// are copied.
inline void copy_padded(uint8_t *to, uint64_t capacity, const uint8_t *from, uint64_t size, unsigned last_mask) {
  if (size < half_bytes) {
    std::memcpy(to, from, size);
  } else {
    for (uint64_t at = 0; at + half_bytes < size; at += half_bytes)
      store_half(to + at, load_half(from + at));
    store_half(to + size - half_bytes, load_half(from + size - half_bytes));
  }
  if (last_mask != 0xff)
    to[size - 1] = static_cast<uint8_t>(to[size - 1] & last_mask);
  for (uint64_t at = size; at < capacity; at += half_bytes)
    store_half(to + at, __m128i{});
}

// Counts the ones of a stream of vectors.
class stream_counter {
public:
  void add(const uint8_t *bytes, vector /*at_bytes*/) {
    for (unsigned i = 0; i < sizeof(vector); i += sizeof(uint64_t)) {
      uint64_t word;
      std::memcpy(&word, bytes + i, sizeof word);
      count_ += popcount(word);
    }
  }
  uint32_t count() const { return count_; }

private:
  uint32_t count_ = 0;
};

// Counts the ones of results, word by word.
class result_counter {
public:
  static constexpr uint64_t piece = uint64_t{1} << 32; // words

  void add(uint64_t word) { count_ += popcount(word); }
  void add_piece(const uint64_t * /*words*/, uint64_t /*nwords*/) {}
  uint32_t count() const { return count_; }

private:
  uint32_t count_ = 0;
};
inline constexpr unsigned words_at_once = 1;

// The lanes of a vector that match.  Comparisons find greater or equal lanes, so the lanes that do not match have ones.
struct hits {
  vector misses;
};

// Operations on lanes, by the type of a lane.  at_most takes numbers with inverted sign bits.
template <class Lane>
struct lanes_of;

#define VORN_LANES(Lane, bits, set1, Number)                                                                           \
  template <>                                                                                                          \
  struct lanes_of<Lane> {                                                                                              \
    static constexpr uint64_t sign = uint64_t{1} << (bits - 1);                                                        \
    static vector all(uint64_t x) { return VORN_VECTOR(set1)(static_cast<Number>(x)); }                                \
    static vector subtract(vector a, vector b) { return VORN_VECTOR(sub_epi##bits)(a, b); }                            \
    static hits at_most(vector a, vector b) { return {VORN_VECTOR(cmpgt_epi##bits)(a, b)}; }                           \
    static hits at_most(hits also, vector a, vector b) { return {also.misses | at_most(a, b).misses}; }                \
    static hits different(vector a, vector b) { return {VORN_VECTOR(cmpeq_epi##bits)(a, b)}; }                         \
    static hits common(vector a, vector b) { return different(a & b, none()); }                                        \
  };
VORN_LANES(uint8_t, 8, set1_epi8, char)
VORN_LANES(uint16_t, 16, set1_epi16, int16_t)
VORN_LANES(uint32_t, 32, set1_epi32, int)
VORN_LANES(uint64_t, 64, set1_epi64x, long long)
#undef VORN_LANES

// Finds lanes at the ends of a range: their distance from the start is 0 or the span.  Both have inverted sign bits.
template <class Lane>
class range_ends {
public:
  void add(vector distance, vector span) {
    using operations = lanes_of<Lane>;
    const vector zero = operations::all(operations::sign);
    seen_ |= operations::different(distance, zero).misses | operations::different(distance, span).misses;
  }
  bool found() const { return VORN_WHOLE(testz)(seen_, seen_) == 0; }

private:
  vector seen_ = none();
};

} // namespace vorn::inline VORN_LEVEL
