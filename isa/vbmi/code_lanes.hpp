// 64 packed codes as vectors of 8-, 16-, 32- or 64-bit lanes.
//
// A permutation moves the bytes of each code into its lane, the most significant byte on top.  A shift moves the code
// to the top or to the bottom of the lane.  Widths with lanes of one size differ only in tables, so a loop is compiled
// once for each kind of lanes, not for each width.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstdint>
#include <type_traits>

#include "frame/bits.hpp"
#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

// Operations on vectors of lanes, by the type of a lane.  A mask has one bit for each lane.
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

// The end of the lane that a code moves to.  At the top, the bits below a code are arbitrary unless codes are whole
// bytes. At the bottom, the bits above a code are zeros.
enum class lane_end { top, bottom };

// The tables that move the codes of a vector into their lanes.
struct lane_layout {
  byte_indices indices; // the bytes that a lane takes, or a group of lanes
  byte_indices shifts;  // the bits of its group that a byte takes, or the shift of a lane of 32 bits
};

// Codes of up to 16 bits are shifted in groups of 64 bits.  Wider codes are shifted in their lanes.
constexpr lane_layout layout_of(unsigned bits, unsigned width, lane_end at) {
  lane_layout out = {};
  const bool whole = width % 8 == 0, by_groups = !whole && bits <= 16;
  const unsigned group = by_groups ? 64 : bits, size = group / 8; // bits and bytes of a group
  const unsigned group_width = width * (group / bits);            // bits of its codes
  for (unsigned i = 0; i < 64; ++i) {
    const unsigned first_bit = i / size * group_width, byte = size - 1 - i % size; // the first byte is the top byte
    const unsigned above = whole && at == lane_end::bottom ? size - width / 8 : 0; // bytes that stay empty
    out.indices[i] = static_cast<uint8_t>(first_bit / 8 + (byte < above ? 0 : byte - above));
    if (by_groups) {
      const unsigned lane = bits / 8, begin = first_bit % 8 + i % 8 / lane * width; // from the top of the group
      const unsigned end = begin + (at == lane_end::top ? bits : width);            // of what becomes a lane
      out.shifts[i] = static_cast<uint8_t>((64 - end + 8 * (i % lane)) % 64);
    } else if (!whole && i % 4 == 0) {
      out.shifts[i] = static_cast<uint8_t>(at == lane_end::top ? first_bit % 8 : 32 - width - first_bit % 8);
    }
  }
  return out;
}

// The layouts for lanes of `Bits` bits, by the width of a code.  For lanes of 64 bits they are listed by the bytes of a
// code.
template <unsigned Bits, lane_end At>
inline constexpr auto layouts = [] {
  constexpr unsigned unit = Bits == 64 ? 8 : 1;
  std::array<lane_layout, Bits / unit + 1> out = {};
  for (unsigned i = 1; i < out.size(); ++i)
    if (i * unit <= 20 || i * unit % 8 == 0)
      out[i] = layout_of(Bits, i * unit, At);
  return out;
}();

// Whole: codes are whole bytes.
template <class Lane, bool Whole, lane_end At>
class code_lanes {
public:
  using operations = lanes_of<Lane>;
  using mask = typename operations::mask;
  static constexpr unsigned bits = 8 * sizeof(Lane);
  static constexpr unsigned vectors = sizeof(Lane); // of 64 codes
  static constexpr unsigned codes = 64 / vectors;   // of a vector

  explicit code_lanes(unsigned width)
      : width_(width), indices_(load_vector(layout(width).indices)), shifts_(load_vector(layout(width).shifts)) {
    if constexpr (Whole)
      stored_ = low_bits(width / 8) * (UINT64_MAX / low_bits(sizeof(Lane)));
    else
      low_ = operations::all(low_bits(width));
  }

  unsigned width() const { return Whole && bits <= 16 ? bits : width_; }
  unsigned spare() const { return bits - width(); }             // bits of a lane that its code does not take
  unsigned vector_bytes() const { return codes * width() / 8; } // of a vector's codes
  unsigned block_bytes() const { return 8 * width(); }          // of 64 codes

  // Loads 64 bytes that begin with vector v of a block.
  __m512i load(const uint8_t *block, unsigned v) const { return load_vector(block + v * vector_bytes()); }

  // Moves each code to its end of the lane.  Unless codes are whole bytes, the other bits of the lane are arbitrary.
  [[gnu::always_inline]] __m512i placed(__m512i raw) const {
    if constexpr (Whole && bits == 8)
      return raw;
    else if constexpr (Whole && At == lane_end::bottom)
      return _mm512_maskz_permutexvar_epi8(stored_, indices_, raw);
    else if constexpr (Whole)
      return _mm512_permutexvar_epi8(indices_, raw);
    else if constexpr (bits <= 16)
      return _mm512_multishift_epi64_epi8(shifts_, _mm512_permutexvar_epi8(indices_, raw));
    else if constexpr (At == lane_end::top)
      return _mm512_sllv_epi32(_mm512_permutexvar_epi8(indices_, raw), shifts_);
    else
      return _mm512_srlv_epi32(_mm512_permutexvar_epi8(indices_, raw), shifts_);
  }

  // Moves each code to the bottom of its lane, with zeros above it.
  [[gnu::always_inline]] __m512i numbers(__m512i raw) const {
    static_assert(At == lane_end::bottom);
    if constexpr (Whole)
      return placed(raw);
    else
      return _mm512_and_si512(placed(raw), low_);
  }

private:
  static constexpr const lane_layout &layout(unsigned width) {
    return layouts<bits, At>[bits == 64 ? width / 8 : width];
  }

  unsigned width_;
  __m512i indices_, shifts_;
  __m512i low_ = {};     // the bits of a code, at the bottom
  __mmask64 stored_ = 0; // the bytes of a code, at the bottom
};

// Calls call(type) with the narrowest lanes that hold codes of a width.  The loop of each kind of lanes is better in
// its own function than in one function with all loops.
template <lane_end At, class Call>
[[gnu::always_inline]] inline auto with_lanes(unsigned width, Call call) {
  if (width < 8)
    return call(std::type_identity<code_lanes<uint8_t, false, At>>{});
  if (width == 8)
    return call(std::type_identity<code_lanes<uint8_t, true, At>>{});
  if (width < 16)
    return call(std::type_identity<code_lanes<uint16_t, false, At>>{});
  if (width == 16)
    return call(std::type_identity<code_lanes<uint16_t, true, At>>{});
  if (width <= 20)
    return call(std::type_identity<code_lanes<uint32_t, false, At>>{});
  if (width <= 32)
    return call(std::type_identity<code_lanes<uint32_t, true, At>>{});
  return call(std::type_identity<code_lanes<uint64_t, true, At>>{});
}

} // namespace vorn::inline VORN_LEVEL
