// Packed codes as lanes of 8, 16, 32 or 64 bits.
//
// A shuffle moves the bytes of each code into its lane, the most significant byte on top.  A product or a shift moves
// the code to the top of the lane.  The bits below the code are bits of its neighbours, or zeros if codes are whole
// bytes. Widths of one form differ only in tables, so a loop is compiled once for each form of lanes, not for each
// width.
//
// Each half of a group of lanes holds 16 codes.  Half h of vector v holds the codes from 16 h + v * per_half on.  So
// the answers of all vectors of a group pack to one bit for each code, in order.
#pragma once

#include <type_traits>

#include "frame/bits.hpp"
#include "isa/avx2/vector.hpp"

namespace vorn::inline VORN_LEVEL {

inline constexpr unsigned group_codes = 16 * halves;
inline constexpr unsigned word_groups = 64 / group_codes;

// The form of codes.  whole: codes are whole bytes.  within: each code lies within the two or four bytes that a shuffle
// takes for it.  across: some codes lie across three bytes, and a lane has two bytes.
enum class code_form { whole, within, across };

// A shuffle of 16 bytes, and a shift to the left for each lane.  A shift is a factor.  It is a number of bits for lanes
// of 32 bits if the level has shifts by different numbers of bits.
struct half_layout {
  std::array<uint8_t, 16> indices = {}, shifts = {};
};

// Codes of less than 8 bits use both layouts: `first` for codes of even index, `second` for codes of odd index.  Codes
// across three bytes use `first` for two bytes and `second` for the third.  A vector of 32-bit lanes begins with a byte
// (`first`) or in the middle of one (`second`).
struct lane_layout {
  half_layout first, second;
};

constexpr lane_layout layout_of(unsigned width) {
  constexpr uint8_t zero_byte = 0x80; // this index of a shuffle gives 0
  const unsigned lane_bytes = width <= 16 ? 2 : width <= 32 ? 4 : 8;
  struct codes {
    unsigned begin = 0, step = 1; // in bits, in codes
    unsigned first_byte = 0;      // the number of top bytes that a lane does not take
    unsigned left = 0;            // additional bits of the shift
  };
  const auto layout = [=](codes of) {
    half_layout out;
    for (unsigned i = 0; i < 16 / lane_bytes; ++i) {
      const unsigned bit = of.begin + i * of.step * width, shift = bit % 8 + of.left;
      uint8_t *const indices = &out.indices[i * lane_bytes], *const shifts = &out.shifts[i * lane_bytes];
      for (unsigned byte = 0; byte < lane_bytes; ++byte) { // from the top byte on
        const bool taken = byte >= of.first_byte && (width % 8 != 0 || byte < width / 8);
        indices[lane_bytes - 1 - byte] = taken ? static_cast<uint8_t>(bit / 8 + of.first_byte + byte) : zero_byte;
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
      : width_(width), indices_{in_each_half(layouts[width].first.indices),
                                in_each_half(layouts[width].second.indices)},
        shifts_{in_each_half(layouts[width].first.shifts), in_each_half(layouts[width].second.shifts)},
        spare_(_mm_cvtsi32_si128(static_cast<int>(bits - width))) {}

  unsigned width() const { return is_whole && bits <= 16 ? bits : width_; }
  unsigned spare() const { return bits - width(); }    // bits of a lane below its code
  unsigned block_bytes() const { return 8 * width(); } // of 64 codes
  // The number of bytes after the block that the load of the last half reads.
  unsigned slack() const { return half_bytes - per_half * width() / 8; }

  // The codes of vector v of a group, each at the top of its lane.
  [[gnu::always_inline]] vector top(const uint8_t *block, unsigned group, unsigned v) const {
    const unsigned half_distance = 2 * width();
    const vector raw = load_halves(block + group * halves * half_distance + v * per_half * width() / 8, half_distance);
    if constexpr (bits == 8 && is_whole) {
      return raw;
    } else if constexpr (bits == 8) {
      // Codes of even index go to the lower bytes of pairs, codes of odd index to the upper bytes.
      return chosen(high_product(shuffled(raw, indices_[0]), shifts_[0]),
                    low_product(shuffled(raw, indices_[1]), shifts_[1]),
                    VORN_VECTOR(set1_epi16)(static_cast<int16_t>(0xff00)));
    } else if constexpr (is_whole) {
      return shuffled(raw, indices_[0]);
    } else if constexpr (bits == 16) {
      const vector head = low_product(shuffled(raw, indices_[0]), shifts_[0]);
      if constexpr (Form == code_form::across)
        return head | high_product(shuffled(raw, indices_[1]), shifts_[1]);
      else
        return head;
    } else {
      return shifted(shuffled(raw, indices_[v % 2]), shifts_[v % 2]);
    }
  }

  // The codes of the same vector, each at the bottom of its lane, with zeros above it.
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
  vector indices_[2], shifts_[2];
  __m128i spare_;
};

// Lanes for values of whole bytes.
template <class Lane>
using value_lanes = code_lanes<Lane, code_form::whole>;

// Lanes for codes of less than 8 bits.
using narrow_lanes = code_lanes<uint8_t, code_form::within>;

// Calls call(type) with the lanes of a width up to Widest.  The loop of each form of lanes is better in its own
// function than in one function with all loops.
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

// The same lanes have codes at the top and, for codes of up to 32 bits, at the bottom.
template <class Call>
[[gnu::always_inline]] inline auto with_top_lanes(unsigned width, Call call) {
  return with_lanes<64>(width, call);
}

// Calls call(type) with the lanes of a width whose codes can become elements of a type.  The lanes have the size of the
// element, or the element has 4 bytes.
template <class Element, class Call>
[[gnu::always_inline]] inline void with_element_lanes(unsigned width, Call call) {
  with_lanes<32>(width, [&]<class Lanes>(std::type_identity<Lanes> type) {
    if constexpr (sizeof(Element) == 4 || sizeof(Element) == sizeof(typename Lanes::number))
      call(type);
  });
}

// A bit for each code of a group, 0 if it matches: the packed masks of its vectors.
template <unsigned First, unsigned Count, class Test>
[[gnu::always_inline]] inline vector packed_misses(Test test) {
  if constexpr (Count == 1)
    return test(std::integral_constant<unsigned, First>{}).misses;
  else
    return packed(packed_misses<First, Count / 2>(test), packed_misses<First + Count / 2, Count / 2>(test));
}

// A bit for each of 64 codes, 1 if it matches.  test(group, v) are the hits of vector v of a group.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint64_t word_of(Test test) {
  uint64_t misses = 0;
#pragma GCC unroll 4
  for (unsigned group = 0; group < word_groups; ++group)
    misses |= uint64_t{top_bits(packed_misses<0, Lanes::vectors>([&](auto v) { return test(group, v); }))}
              << (group * group_codes);
  return ~misses;
}

} // namespace vorn::inline VORN_LEVEL
