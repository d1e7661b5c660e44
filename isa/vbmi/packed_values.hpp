// Dynamic-packed values.  A table of half bytes turns the length codes of 64 rows into masks of the stored bytes.  An
// expansion moves the stored bytes to the positions in the mask, and the other bytes become zeros.
#pragma once

#include "generic/big_endian.hpp"
#include "generic/scan/length_codes.hpp"
#include "isa/vbmi/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

// Walks over values of W bits.
template <unsigned W>
class packed_values {
  static constexpr unsigned value_bytes = W / 8;
  static constexpr unsigned code_bits = length_code_bits(W);
  static constexpr unsigned code_bytes = 8 * code_bits; // of 64 rows

public:
  using lanes = value_lanes<lane<W>>;

  packed_values(const uint8_t *values, const uint8_t *lens, uint32_t nrows)
      : values_(values), lens_(lens), rows_left_(nrows) {}

  // Returns match(value) for the next 64 rows, or for the rows that are left.  value(group, v) is vector v of their
  // values.
  template <class Match>
  [[gnu::always_inline]] uint64_t next(Match match) {
    const uint64_t rows = std::min<uint64_t>(rows_left_, 64);
    alignas(64) uint64_t masks[8];
    _mm512_store_si512(masks, byte_masks((rows * code_bits + 7) / 8));
    rows_left_ -= rows;
    lens_ += code_bytes;
    vector values[lanes::vectors];
    if (rows_left_ >= 64) { // every row has a byte, so whole loads end within the values
      for (unsigned v = 0; v < lanes::vectors; ++v)
        values[v] = expanded(masks[v], load_vector(values_));
    } else {
      for (unsigned v = 0; v < lanes::vectors; ++v) {
        const uint64_t before = 64 * v, size = rows * value_bytes;
        const uint64_t mask = size < before ? 0 : masks[v] & low_bits(size - before);
        values[v] = expanded(mask, _mm512_maskz_loadu_epi8(low_bits(popcount(mask)), values_));
      }
    }
    return match([&](unsigned /*group*/, unsigned v) { return values[v]; }) & low_bits(rows);
  }

private:
  vector expanded(uint64_t mask, vector stored) {
    values_ += popcount(mask);
    return lanes_.placed(_mm512_maskz_expand_epi8(mask, stored));
  }

  // A bit for each byte of 64 values that is stored.
  vector byte_masks(uint64_t size) const {
    const vector codes = _mm512_maskz_loadu_epi8(low_bits(size), lens_);
    const vector twice = _mm512_permutexvar_epi8(load_vector(pair_index), codes);
    constexpr uint64_t high_halves = 0x5555555555555555; // the first row has the high half
    const vector halves = _mm512_mask_blend_epi8(high_halves, twice, _mm512_srli_epi16(twice, 4));
    return _mm512_shuffle_epi8(load_vector(masks_of_halves), _mm512_and_si512(halves, _mm512_set1_epi8(15)));
  }

  static constexpr byte_indices pair_index = [] {
    byte_indices out = {};
    for (unsigned i = 0; i < 64; ++i)
      out[i] = static_cast<uint8_t>(i / 2);
    return out;
  }();

  // Half a byte has the codes of 4, 2 or 1 rows, the first row on top.  These rows take 8 bits of a mask.
  static constexpr byte_indices masks_of_halves = [] {
    byte_indices out = {};
    for (unsigned i = 0; i < 64; ++i)
      for (unsigned row = 0; row < 4 / code_bits; ++row) {
        const uint64_t code = i % 16 >> (4 - code_bits * (row + 1)) & low_bits(code_bits);
        const uint64_t stored = low_bits(code % value_bytes + 1);
        out[i] = static_cast<uint8_t>(out[i] | stored << (row * value_bytes));
      }
    return out;
  }();

  const lanes lanes_{W};
  const uint8_t *values_;
  const uint8_t *lens_;
  uint64_t rows_left_;
};

} // namespace vorn::inline VORN_LEVEL
