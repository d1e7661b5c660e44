// 64 packed codes as vectors of 8-, 16-, 32- or 64-bit lanes.
//
// A permutation brings the bytes of each code into its lane, the most significant one on top, and a shift moves the
// code to the top or to the bottom of the lane.  What surrounds it there is left as it is.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstdint>

#include "frame/bits.hpp"
#include "generic/big_endian.hpp"

namespace vorn::inline VORN_LEVEL {

// Operations on vectors of lanes, by their type; each mask has a bit per lane.
template <class Lane>
struct lanes_of;

#define VORN_LANES(Lane, suffix, signed_suffix, mask_bits, Number)                                                     \
  template <>                                                                                                          \
  struct lanes_of<Lane> {                                                                                              \
    using mask = __mmask##mask_bits;                                                                                   \
    static __m512i all(uint64_t x) { return _mm512_set1_##signed_suffix(static_cast<Number>(x)); }                     \
    static __m512i subtract(__m512i a, __m512i b) { return _mm512_sub_##signed_suffix(a, b); }                         \
    static mask at_most(__m512i a, __m512i b) { return _mm512_cmple_##suffix##_mask(a, b); }                           \
    static mask at_most(mask k, __m512i a, __m512i b) { return _mm512_mask_cmple_##suffix##_mask(k, a, b); }           \
    static mask equal(__m512i a, __m512i b) { return _mm512_cmpeq_##suffix##_mask(a, b); }                             \
    static mask common(__m512i a, __m512i b) { return _mm512_test_##signed_suffix##_mask(a, b); }                      \
  };
VORN_LANES(uint8_t, epu8, epi8, 64, char)
VORN_LANES(uint16_t, epu16, epi16, 32, int16_t)
VORN_LANES(uint32_t, epu32, epi32, 16, int)
VORN_LANES(uint64_t, epu64, epi64, 8, long long)
#undef VORN_LANES

using byte_indices = std::array<uint8_t, 64>;

inline __m512i load_vector(const uint8_t *bytes) { return _mm512_loadu_si512(bytes); }
template <class T, size_t N>
inline __m512i load_vector(const std::array<T, N> &elements) {
  return _mm512_loadu_si512(elements.data());
}

template <unsigned W, class Lane = lane<W>>
struct code_lanes {
  static constexpr unsigned width = W;
  using operations = lanes_of<Lane>;
  using mask = typename operations::mask;
  static constexpr unsigned bits = 8 * sizeof(Lane);
  static constexpr unsigned vectors = sizeof(Lane); // of 64 codes
  static constexpr unsigned codes = 64 / vectors;   // of a vector
  static constexpr unsigned bytes = codes * W / 8;  // of a vector's codes
  static constexpr unsigned spare = bits - W;       // bits of a lane beside its code
  static constexpr unsigned block_bytes = 8 * W;    // of 64 codes

  // Vector v of a block, with what follows it up to 64 bytes.
  static __m512i load(const uint8_t *block, unsigned v) { return load_vector(block + v * bytes); }

  // Each code at the top of its lane.
  static __m512i top(__m512i raw) {
    if constexpr (bits == 8 && W == 8)
      return raw;
    else if constexpr (by_groups)
      return _mm512_multishift_epi64_epi8(load_vector(top_shifts), grouped(raw));
    else if constexpr (W % 8 == 0)
      return grouped(raw);
    else
      return _mm512_sllv_epi32(grouped(raw), load_vector(places));
  }

  // Each code at the bottom of its lane, with zeros above it.
  static __m512i exact(__m512i raw) {
    if constexpr (sizeof(Lane) == 1 && W < 8)
      return _mm512_and_si512(bottom(raw), operations::all(low_bits(W)));
    else if constexpr (spare == 0)
      return top(raw);
    else if constexpr (sizeof(Lane) == 2)
      return _mm512_srli_epi16(top(raw), spare);
    else if constexpr (sizeof(Lane) == 4)
      return _mm512_srli_epi32(top(raw), spare);
    else
      return _mm512_srli_epi64(top(raw), spare);
  }

  // Codes of less than 8 bits at the bottom of their lanes, with bits of others above them.
  static __m512i bottom(__m512i raw) { return _mm512_multishift_epi64_epi8(load_vector(bottom_shifts), grouped(raw)); }

private:
  // The codes of 64 bits are shifted as a group where they are not whole bytes.
  static constexpr bool by_groups = sizeof(Lane) <= 2 && W % 8 != 0;
  static constexpr unsigned group = by_groups ? 64 : bits;           // bits of a group
  static constexpr unsigned group_codes = by_groups ? 64 / bits : 1; // codes of it

  static constexpr unsigned first_bit(unsigned g) { return g * group_codes * W; }

  // The bytes of each group in the order of the processor.
  static __m512i grouped(__m512i raw) { return _mm512_permutexvar_epi8(load_vector(indices), raw); }

  static constexpr byte_indices indices = [] {
    byte_indices out = {};
    constexpr unsigned size = group / 8;
    for (unsigned i = 0; i < 64; ++i)
      out[i] = static_cast<uint8_t>(first_bit(i / size) / 8 + size - 1 - i % size);
    return out;
  }();

  // Where the bits of each byte of a lane begin in its group, for codes at the top or at the bottom.
  static constexpr byte_indices shifts(bool at_top) {
    byte_indices out = {};
    for (unsigned i = 0; i < 64; ++i) {
      const unsigned code = i % 8 / sizeof(Lane), byte = i % sizeof(Lane);
      const unsigned begin = first_bit(i / 8) % 8 + code * W; // from the top of the group
      const unsigned end = at_top ? begin + bits : begin + W; // of the lane
      out[i] = static_cast<uint8_t>((64 - end + 8 * byte) % 64);
    }
    return out;
  }
  static constexpr byte_indices top_shifts = shifts(true);
  static constexpr byte_indices bottom_shifts = shifts(false);

  // Of 32-bit lanes: where a code begins in its first byte.
  static constexpr std::array<uint32_t, 16> places = [] {
    std::array<uint32_t, 16> out = {};
    for (unsigned i = 0; i < 16; ++i)
      out[i] = i * W % 8;
    return out;
  }();
};

} // namespace vorn::inline VORN_LEVEL
