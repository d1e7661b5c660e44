// Packed codes as lanes of 8, 16, 32 or 64 bits.
//
// A shuffle brings the bytes of each code into its lane, the most significant one on top, and a product or a shift
// moves the code to the top of the lane.  What is below it there belongs to its neighbours, or is zero where codes are
// whole bytes.  Widths of one form differ in tables alone, so that a loop is compiled for a form of lanes and not for a
// width.
//
// Each half of a group of lanes holds 16 codes: half h of vector v those from 16 h + v * per_half on.  So the answers
// of all vectors of a group pack to one bit for each code, in order.
#pragma once

#include <type_traits>

#include "frame/bits.hpp"
#include "isa/avx2/vector.hpp"

namespace vorn::inline VORN_LEVEL {

inline constexpr unsigned group_codes = 16 * halves;
inline constexpr unsigned word_groups = 64 / group_codes;

// Codes are whole bytes, or lie each within the two or four bytes that a shuffle takes for it, or some lie across three
// bytes where a lane has two.
enum class code_form { whole, within, across };

// A shuffle of 16 bytes, and a shift to the left for each lane: a factor, or a number of bits where a level has such
// shifts, which is for lanes of 32 bits.
struct half_layout {
  std::array<uint8_t, 16> places = {}, shifts = {};
};

// Codes of less than 8 bits take both: those of even places, and those of odd ones.  Codes across three bytes have the
// first two, and the third.  Vectors of 32-bit lanes begin with a byte, or with half of one.
struct lane_layout {
  half_layout first, second;
};

constexpr lane_layout layout_of(unsigned width) {
  constexpr uint8_t zero_byte = 0x80; // as a place in a shuffle
  const unsigned lane_bytes = width <= 16 ? 2 : width <= 32 ? 4 : 8;
  struct codes {
    unsigned begin = 0, step = 1;      // in bits and codes
    unsigned first_byte = 0, left = 0; // the top bytes that a lane does not take, the bits that it is shifted further
  };
  const auto layout = [=](codes of) {
    half_layout out;
    for (unsigned i = 0; i < 16 / lane_bytes; ++i) {
      const unsigned bit = of.begin + i * of.step * width, shift = bit % 8 + of.left;
      uint8_t *const places = &out.places[i * lane_bytes], *const shifts = &out.shifts[i * lane_bytes];
      for (unsigned byte = 0; byte < lane_bytes; ++byte) { // from the top one on
        const bool taken = byte >= of.first_byte && (width % 8 != 0 || byte < width / 8);
        places[lane_bytes - 1 - byte] = taken ? static_cast<uint8_t>(bit / 8 + of.first_byte + byte) : zero_byte;
      }
      const unsigned amount = lane_bytes == 4 && halves == 2 ? shift : 1U << shift;
      shifts[0] = static_cast<uint8_t>(amount);
      shifts[1] = static_cast<uint8_t>(amount >> 8);
    }
    return out;
  };
  if (width < 8)
    return {layout({.step = 2, .left = 8}), layout({.begin = width, .step = 2})};
  if (lane_bytes == 2)
    return {layout({}), layout({.first_byte = 1, .left = 8})};
  return {layout({}), layout({.begin = 4 * width % 8})};
}

inline constexpr auto layouts = [] {
  std::array<lane_layout, 65> out = {};
  for (unsigned width = 1; width <= 64; ++width)
    if (width <= 20 || width % 8 == 0)
      out[width] = layout_of(width);
  return out;
}();

template <class Lane, code_form Form>
class code_lanes {
public:
  using number = Lane;
  using operations = lanes_of<Lane>;
  static constexpr bool is_whole = Form == code_form::whole;
  static constexpr unsigned bits = 8 * sizeof(Lane);
  static constexpr unsigned vectors = sizeof(Lane); // of a group
  static constexpr unsigned per_half = 16 / vectors;

  explicit code_lanes(unsigned width)
      : width_(width), places_{in_each_half(layouts[width].first.places), in_each_half(layouts[width].second.places)},
        shifts_{in_each_half(layouts[width].first.shifts), in_each_half(layouts[width].second.shifts)},
        spare_(_mm_cvtsi32_si128(static_cast<int>(bits - width))) {}

  unsigned width() const { return is_whole && bits <= 16 ? bits : width_; }
  unsigned spare() const { return bits - width(); }    // bits of a lane below its code
  unsigned block_bytes() const { return 8 * width(); } // of 64 codes
  // What the load of the last half of a block takes in beyond the block.
  unsigned slack() const { return half_bytes - per_half * width() / 8; }

  // The codes of vector v of a group, each at the top of its lane.
  [[gnu::always_inline]] vector top(const uint8_t *block, unsigned group, unsigned v) const {
    const unsigned half_distance = 2 * width();
    const vector raw = load_halves(block + group * halves * half_distance + v * per_half * width() / 8, half_distance);
    if constexpr (bits == 8 && is_whole) {
      return raw;
    } else if constexpr (bits == 8) {
      // Codes of even places go to the lower bytes of pairs, the others to the upper ones.
      return chosen(high_product(shuffled(raw, places_[0]), shifts_[0]),
                    low_product(shuffled(raw, places_[1]), shifts_[1]),
                    VORN_VECTOR(set1_epi16)(static_cast<int16_t>(0xff00)));
    } else if constexpr (is_whole) {
      return shuffled(raw, places_[0]);
    } else if constexpr (bits == 16) {
      const vector head = low_product(shuffled(raw, places_[0]), shifts_[0]);
      if constexpr (Form == code_form::across)
        return head | high_product(shuffled(raw, places_[1]), shifts_[1]);
      else
        return head;
    } else {
      return shifted(shuffled(raw, places_[v % 2]), shifts_[v % 2]);
    }
  }

  // The same at the bottom of its lane, with zeros above it.
  [[gnu::always_inline]] vector exact(const uint8_t *block, unsigned group, unsigned v) const {
    static_assert(bits <= 32);
    const vector x = top(block, group, v);
    if constexpr (is_whole && bits <= 16)
      return x;
    else if constexpr (bits == 8)
      return VORN_VECTOR(srl_epi16)(x, spare_) & operations::all(low_bits(width_));
    else if constexpr (bits == 16)
      return VORN_VECTOR(srl_epi16)(x, spare_);
    else
      return VORN_VECTOR(srl_epi32)(x, spare_);
  }

private:
  static vector low_product(vector a, vector b) { return VORN_VECTOR(mullo_epi16)(a, b); }
  static vector high_product(vector a, vector b) { return VORN_VECTOR(mulhi_epu16)(a, b); }
  static vector shifted(vector x, vector by) {
#ifdef __AVX2__
    return _mm256_sllv_epi32(x, by);
#else
    return _mm_mullo_epi32(x, by);
#endif
  }

  unsigned width_;
  vector places_[2], shifts_[2];
  __m128i spare_;
};

// Calls call(type) with the lanes of a width up to Widest.  Each form of lanes has a loop, better in a function of its
// own than all in one.
template <unsigned Widest, class Call>
[[gnu::always_inline]] inline auto with_lanes(unsigned width, Call call) {
  using enum code_form;
  if (width < 8)
    return call(std::type_identity<code_lanes<uint8_t, within>>{});
  if (width == 8)
    return call(std::type_identity<code_lanes<uint8_t, whole>>{});
  if (width == 11 || (width >= 13 && width <= 15))
    return call(std::type_identity<code_lanes<uint16_t, across>>{});
  if (width < 16)
    return call(std::type_identity<code_lanes<uint16_t, within>>{});
  if (width == 16)
    return call(std::type_identity<code_lanes<uint16_t, whole>>{});
  if (width <= 20)
    return call(std::type_identity<code_lanes<uint32_t, within>>{});
  if (Widest <= 32 || width <= 32)
    return call(std::type_identity<code_lanes<uint32_t, whole>>{});
  if constexpr (Widest > 32)
    return call(std::type_identity<code_lanes<uint64_t, whole>>{});
}

} // namespace vorn::inline VORN_LEVEL
