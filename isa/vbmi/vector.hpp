// Vectors of 64 bytes.  A comparison gives a mask with one bit for each lane.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "frame/bits.hpp"
#include "frame/level.hpp"
#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

using vector = __m512i;
inline constexpr unsigned words_at_once = 2;

inline vector load_vector(const void *bytes) { return _mm512_loadu_si512(bytes); }
template <class T, size_t N>
inline vector load_vector(const std::array<T, N> &elements) {
  return _mm512_loadu_si512(elements.data());
}
inline void store_vector(void *bytes, vector x) { _mm512_storeu_si512(bytes, x); }
inline vector all_bytes(unsigned x) { return _mm512_set1_epi8(static_cast<char>(x)); }

using byte_indices = std::array<uint8_t, 64>;

// Operations on lanes, by the type of a lane.
template <class Lane>
struct lanes_of;

#define VORN_LANES(Lane, suffix, signed_suffix, mask_bits, Number)                                                     \
  template <>                                                                                                          \
  struct lanes_of<Lane> {                                                                                              \
    using hits = __mmask##mask_bits;                                                                                   \
    static constexpr uint64_t sign = 0;                                                                                \
    static vector all(uint64_t x) { return _mm512_set1_##signed_suffix(static_cast<Number>(x)); }                      \
    static vector subtract(vector a, vector b) { return _mm512_sub_##signed_suffix(a, b); }                            \
    static hits at_most(vector a, vector b) { return _mm512_cmple_##suffix##_mask(a, b); }                             \
    static hits at_most(hits also, vector a, vector b) { return _mm512_mask_cmple_##suffix##_mask(also, a, b); }       \
    static hits different(vector a, vector b) { return _mm512_cmpneq_##suffix##_mask(a, b); }                          \
    static vector least(vector a, vector b) { return _mm512_min_##suffix(a, b); }                                      \
    static hits common(vector a, vector b) { return _mm512_test_##signed_suffix##_mask(a, b); }                        \
  };
VORN_LANES(uint8_t, epu8, epi8, 64, char)
VORN_LANES(uint16_t, epu16, epi16, 32, int16_t)
VORN_LANES(uint32_t, epu32, epi32, 16, int)
VORN_LANES(uint64_t, epu64, epi64, 8, long long)
#undef VORN_LANES

// Reverses the bits of each byte: a product with a matrix of bits.
inline vector reversed_bytes(vector x) {
  return _mm512_gf2p8affine_epi64_epi8(x, _mm512_set1_epi64(static_cast<int64_t>(0x8040201008040201)), 0);
}

// Copies size >= 1 bytes and writes zeros up to a capacity, in whole vectors.  Of the last byte only the bits of a mask
// are copied.
[[gnu::noinline]] inline void copy_padded(uint8_t *to, uint64_t capacity, const uint8_t *from, uint64_t size,
                                          unsigned last_mask) {
  uint64_t at = 0;
  for (; at + 64 < size; at += 64)
    _mm512_store_si512(to + at, load_vector(from + at));
  const uint64_t left = size - at;
  const vector end = _mm512_maskz_loadu_epi8(low_bits(left), from + at);
  const auto last = static_cast<char>(from[size - 1] & last_mask);
  _mm512_store_si512(to + at, _mm512_mask_set1_epi8(end, uint64_t{1} << (left - 1), last));
  for (at += 64; at < capacity; at += 64)
    _mm512_store_si512(to + at, _mm512_setzero_si512());
}

inline uint32_t sum_of(vector counts) { return static_cast<uint32_t>(_mm512_reduce_add_epi64(counts)); }

// The number of ones of words at any address.
[[gnu::noinline]] inline uint32_t ones_of(const void *words, uint64_t nwords) {
  const auto *at = static_cast<const uint8_t *>(words);
  if (nwords <= 16) { // they may have just been written, and a load of a vector would wait for the stores
    uint32_t count = 0;
    for (; nwords != 0; --nwords, at += 8) {
      uint64_t word;
      std::memcpy(&word, at, sizeof word);
      count += popcount(word);
    }
    return count;
  }
  vector counts = _mm512_setzero_si512();
  for (; nwords >= 8; nwords -= 8, at += 64)
    counts = _mm512_add_epi64(counts, _mm512_popcnt_epi64(load_vector(at)));
  const auto rest = static_cast<__mmask8>(low_bits(nwords));
  return sum_of(_mm512_add_epi64(counts, _mm512_popcnt_epi64(_mm512_maskz_loadu_epi64(rest, at))));
}

// Counts the ones of a stream of vectors.
class stream_counter {
public:
  void add(const uint8_t * /*bytes*/, vector at_bytes) {
    counts_ = _mm512_add_epi64(counts_, _mm512_popcnt_epi64(at_bytes));
  }
  uint32_t count() const { return sum_of(counts_); }

private:
  vector counts_ = _mm512_setzero_si512();
};

// Counts the ones of results, a piece of words at a time, while the piece is in the cache.
class result_counter {
public:
  static constexpr uint64_t piece = 512; // words

  void add(uint64_t /*word*/) {}
  void add_piece(const uint64_t *words, uint64_t nwords) {
    count_ += nwords == 1 ? popcount(get_word(words, 0)) : ones_of(words, nwords);
  }
  uint32_t count() const { return count_; }

private:
  uint32_t count_ = 0;
};

// Finds lanes at the ends of a range: their distance from the start is 0 or the span.
template <class Lane>
class range_ends {
  using operations = lanes_of<Lane>;

public:
  void add(vector distance, vector span) {
    least_ = operations::least(least_, operations::least(distance, operations::subtract(span, distance)));
  }
  bool found() const { return static_cast<typename operations::hits>(~operations::common(least_, least_)) != 0; }

private:
  vector least_ = all_bytes(0xff);
};

} // namespace vorn::inline VORN_LEVEL
