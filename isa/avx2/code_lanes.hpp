// Packed codes as lanes of 8, 16, 32 or 64 bits.
//
// A shuffle brings the bytes of each code into its lane, the most significant one on top, and a product or a shift
// moves the code to the top of the lane.  What is below it there belongs to its neighbours, or is zero where codes are
// whole bytes.
//
// Each half of a group of lanes holds 16 codes: half h of vector v those from 16 h + v * per_half on.  So the answers
// of all vectors of a group pack to one bit for each code, in order.
#pragma once

#include "frame/bits.hpp"
#include "generic/big_endian.hpp"
#include "isa/avx2/vector.hpp"

namespace vorn::inline VORN_LEVEL {

inline constexpr unsigned group_codes = 16 * halves;
inline constexpr unsigned word_groups = 64 / group_codes;

template <unsigned W>
struct code_lanes {
  static constexpr unsigned width = W;
  using number = lane<W>;
  using operations = lanes_of<number>;
  static constexpr unsigned bits = 8 * sizeof(number);
  static constexpr unsigned spare = bits - W;         // bits of a lane below its code
  static constexpr unsigned vectors = sizeof(number); // of a group
  static constexpr unsigned per_half = 16 / vectors;
  static constexpr unsigned block_bytes = 8 * W; // of 64 codes
  // The last half of a block, and what its load takes in beyond the block.
  static constexpr unsigned last_half = (64 - per_half) * W / 8;
  static constexpr unsigned slack = last_half + half_bytes - block_bytes;

  // The codes of vector V of a group, each at the top of its lane.
  template <unsigned V>
  static vector top(const uint8_t *block, unsigned group) {
    constexpr unsigned half_distance = 2 * W;
    const vector raw = load_halves(block + group * halves * half_distance + V * per_half * W / 8, half_distance);
    constexpr places at = {.begin = V * per_half * W % 8};
    if constexpr (W == 8) {
      return raw;
    } else if constexpr (W < 8) {
      // Codes of even places go to the lower bytes of pairs, the others to the upper ones.
      constexpr places even = {.begin = 0, .step = 2}, odd = {.begin = W, .step = 2};
      return chosen(high_product(shuffled(raw, in_each_half(even.two_bytes())), in_each_half(even.powers(8))),
                    low_product(shuffled(raw, in_each_half(odd.two_bytes())), in_each_half(odd.powers(0))),
                    VORN_VECTOR(set1_epi16)(static_cast<int16_t>(0xff00)));
    } else if constexpr (W < 16) {
      const vector head = low_product(shuffled(raw, in_each_half(at.two_bytes())), in_each_half(at.powers(0)));
      if constexpr (at.straddles(16))
        return head | high_product(shuffled(raw, in_each_half(at.third_byte())), in_each_half(at.powers(8)));
      else
        return head;
    } else if constexpr (W % 8 != 0) {
      return shifted(shuffled(raw, in_each_half(at.all_bytes())), at);
    } else {
      return shuffled(raw, in_each_half(at.all_bytes()));
    }
  }

  // The same at the bottom of its lane, with zeros above it.
  template <unsigned V>
  static vector exact(const uint8_t *block, unsigned group) {
    const vector x = top<V>(block, group);
    if constexpr (spare == 0)
      return x;
    else if constexpr (bits == 8)
      return VORN_VECTOR(srli_epi16)(x, spare) & operations::all(low_bits(W));
    else if constexpr (bits == 16)
      return VORN_VECTOR(srli_epi16)(x, spare);
    else if constexpr (bits == 32)
      return VORN_VECTOR(srli_epi32)(x, spare);
    else
      return VORN_VECTOR(srli_epi64)(x, spare);
  }

private:
  static vector low_product(vector a, vector b) { return VORN_VECTOR(mullo_epi16)(a, b); }
  static vector high_product(vector a, vector b) { return VORN_VECTOR(mulhi_epu16)(a, b); }

  static constexpr uint8_t zero_byte = 0x80; // as a place in a shuffle

  // Where the codes of a half stand: the first at bit `begin`, each other one `step` codes behind.
  struct places {
    unsigned begin = 0;
    unsigned step = 1;

    constexpr unsigned bit(unsigned i) const { return begin + i * step * W; }

    constexpr bool straddles(unsigned room) const {
      for (unsigned i = 0; i < per_half; ++i)
        if (bit(i) % 8 + W > room)
          return true;
      return false;
    }

    // Lane i: the first bytes of code i in the order of the processor.
    constexpr std::array<uint8_t, 16> bytes(unsigned size) const {
      std::array<uint8_t, 16> out = {};
      for (unsigned i = 0; i < 16; ++i) {
        const unsigned byte = size - 1 - i % size;
        out[i] = W % 8 == 0 && byte >= W / 8 ? zero_byte : static_cast<uint8_t>(bit(i / size) / 8 + byte);
      }
      return out;
    }
    constexpr std::array<uint8_t, 16> two_bytes() const { return bytes(2); }
    constexpr std::array<uint8_t, 16> all_bytes() const { return bytes(vectors); }

    // Lane i: the byte behind the first two of code i, with 0 above it.
    constexpr std::array<uint8_t, 16> third_byte() const {
      std::array<uint8_t, 16> out = {};
      for (unsigned i = 0; i < 8; ++i) {
        out[2 * i] = static_cast<uint8_t>(bit(i) / 8 + 2);
        out[2 * i + 1] = zero_byte;
      }
      return out;
    }

    // A factor that moves code i up to the top, and by `more` beyond it.
    constexpr std::array<uint16_t, 8> powers(unsigned more) const {
      std::array<uint16_t, 8> out = {};
      for (unsigned i = 0; i < 8; ++i)
        out[i] = static_cast<uint16_t>(1U << (bit(i) % 8 + more));
      return out;
    }
    constexpr std::array<uint32_t, 4> shifts() const { return {bit(0) % 8, bit(1) % 8, bit(2) % 8, bit(3) % 8}; }
    constexpr std::array<uint32_t, 4> factors() const {
      return {1U << bit(0) % 8, 1U << bit(1) % 8, 1U << bit(2) % 8, 1U << bit(3) % 8};
    }
  };

  static vector shifted(vector x, places at) {
#ifdef __AVX2__
    return _mm256_sllv_epi32(x, in_each_half(at.shifts()));
#else
    return _mm_mullo_epi32(x, in_each_half(at.factors()));
#endif
  }
};

} // namespace vorn::inline VORN_LEVEL
