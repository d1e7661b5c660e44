// 64 packed codes as vectors of 8-, 16-, 32- or 64-bit lanes.
//
// A permutation moves the bytes of each code into its lane, the most significant byte on top.  A shift moves the code
// to the top or to the bottom of the lane.  Widths with lanes of one size differ only in tables, so a loop is compiled
// once for each kind of lanes, not for each width.
#pragma once

#include <type_traits>
#include <utility>

#include "isa/vbmi/vector.hpp"

namespace vorn::inline VORN_LEVEL {

// The end of the lane that a code moves to.  At the top, the bits below a code are arbitrary unless codes are whole
// bytes.  At the bottom, the bits above a code are zeros.
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
  using number = Lane;
  using operations = lanes_of<Lane>;
  static constexpr unsigned bits = 8 * sizeof(Lane);
  static constexpr unsigned vectors = sizeof(Lane); // of 64 codes
  static constexpr unsigned codes = 64 / vectors;   // of a vector

  explicit code_lanes(unsigned width)
      : width_(width), indices_(load_vector(layout(width).indices)), shifts_(load_vector(layout(width).shifts)) {
    if constexpr (Whole)
      stored_ = (low_bits(width / 8) << (At == lane_end::top ? sizeof(Lane) - width / 8 : 0)) *
                (UINT64_MAX / low_bits(sizeof(Lane)));
    else
      low_ = operations::all(low_bits(width));
  }

  unsigned width() const { return Whole && bits <= 16 ? bits : width_; }
  unsigned spare() const { return bits - width(); }             // bits of a lane that its code does not take
  unsigned vector_bytes() const { return codes * width() / 8; } // of a vector's codes
  unsigned block_bytes() const { return 8 * width(); }          // of 64 codes

  // The number of bytes after the block that the load of the last vector reads.
  unsigned slack() const { return 64 - vector_bytes(); }

  // The codes of vector v of a block, each at the top of its lane, or at the bottom with zeros above it.  A block is
  // one group.
  [[gnu::always_inline]] vector top(const uint8_t *block, unsigned /*group*/, unsigned v) const {
    static_assert(At == lane_end::top);
    return placed(load_vector(block + v * vector_bytes()));
  }
  [[gnu::always_inline]] vector exact(const uint8_t *block, unsigned /*group*/, unsigned v) const {
    static_assert(At == lane_end::bottom);
    const vector x = any(block, v);
    return Whole ? x : x & low_;
  }

  // The same without zeros above codes that are not whole bytes.
  [[gnu::always_inline]] vector any(const uint8_t *block, unsigned v) const {
    return placed(load_vector(block + v * vector_bytes()));
  }

  // Moves each code to its end of the lane.  Unless codes are whole bytes, the other bits of the lane are arbitrary.
  [[gnu::always_inline]] vector placed(vector raw) const {
    if constexpr (Whole && bits == 8)
      return raw;
    else if constexpr (Whole)
      return _mm512_maskz_permutexvar_epi8(stored_, indices_, raw);
    else if constexpr (bits <= 16)
      return _mm512_multishift_epi64_epi8(shifts_, _mm512_permutexvar_epi8(indices_, raw));
    else if constexpr (At == lane_end::top)
      return _mm512_sllv_epi32(_mm512_permutexvar_epi8(indices_, raw), shifts_);
    else
      return _mm512_srlv_epi32(_mm512_permutexvar_epi8(indices_, raw), shifts_);
  }

private:
  static constexpr const lane_layout &layout(unsigned width) {
    return layouts<bits, At>[bits == 64 ? width / 8 : width];
  }

  unsigned width_;
  vector indices_, shifts_;
  vector low_ = {};      // the bits of a code, at the bottom
  __mmask64 stored_ = 0; // the bytes of a code, at the bottom
};

// Lanes for values of whole bytes.
template <class Lane>
using value_lanes = code_lanes<Lane, true, lane_end::top>;

// Lanes for codes of less than 8 bits.
using narrow_lanes = code_lanes<uint8_t, false, lane_end::top>;

// Calls call(type) with the narrowest lanes that hold codes of a width.  The loop of each kind of lanes is better in
// its own function than in one function with all loops.
template <class Call>
[[gnu::always_inline]] inline auto with_top_lanes(unsigned width, Call call) {
  constexpr lane_end at = lane_end::top;
  if (width < 8)
    return call(std::type_identity<code_lanes<uint8_t, false, at>>{});
  if (width == 8)
    return call(std::type_identity<code_lanes<uint8_t, true, at>>{});
  if (width < 16)
    return call(std::type_identity<code_lanes<uint16_t, false, at>>{});
  if (width == 16)
    return call(std::type_identity<code_lanes<uint16_t, true, at>>{});
  if (width <= 20)
    return call(std::type_identity<code_lanes<uint32_t, false, at>>{});
  if (width <= 32)
    return call(std::type_identity<code_lanes<uint32_t, true, at>>{});
  return call(std::type_identity<code_lanes<uint64_t, true, at>>{});
}

// Calls call(type) with lanes of the size of an element.
template <class Element, class Call>
[[gnu::always_inline]] inline auto with_element_lanes(unsigned width, Call call) {
  constexpr bool one_width_is_whole = sizeof(Element) < 4; // narrower codes have narrower elements
  const bool whole = one_width_is_whole ? width == 8 * sizeof(Element) : width % 8 == 0;
  return whole ? call(std::type_identity<code_lanes<Element, true, lane_end::bottom>>{})
               : call(std::type_identity<code_lanes<Element, false, lane_end::bottom>>{});
}

// A bit for each of 64 codes, 1 if it matches.  test(group, v) are the hits of vector v of a group.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint64_t word_of(Test test) {
  return [&]<size_t... V>(std::index_sequence<V...>) __attribute__((always_inline)) {
    return ((uint64_t{test(0U, std::integral_constant<unsigned, V>{})} << (V * Lanes::codes)) | ...);
  }
  (std::make_index_sequence<Lanes::vectors>{});
}

// Stores 64 codes as elements of the size of a lane.
template <class Lanes, class Element>
[[gnu::always_inline]] inline void unpack_block(const Lanes &lanes, const uint8_t *block, Element *elements) {
  static_assert(sizeof(Element) == Lanes::bits / 8);
  for (unsigned v = 0; v < Lanes::vectors; ++v)
    store_vector(elements + v * Lanes::codes, lanes.exact(block, 0, v));
}

} // namespace vorn::inline VORN_LEVEL
