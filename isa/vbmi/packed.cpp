// Dynamic-packed values.  A table of half bytes turns the length codes of 64 rows into masks of the stored bytes.  An
// expansion moves the stored bytes to the positions in the mask, and the other bytes become zeros.
#include "generic/scan/length_codes.hpp"
#include "isa/vbmi/pairs.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

// Walks over values of a type.
template <class Value>
class packed_values {
  static constexpr unsigned value_bytes = sizeof(Value);
  static constexpr unsigned code_bits = length_code_bits(8 * value_bytes);
  static constexpr unsigned code_bytes = 8 * code_bits; // of 64 rows

public:
  using lanes = code_lanes<Value, true, lane_end::top>;

  packed_values(const uint8_t *values, const uint8_t *lens, uint32_t nrows)
      : values_(values), lens_(lens), rows_left_(nrows) {}

  // Returns match(value) for the next 64 rows, or for the rows that are left.  value(v) is vector v of their values.
  template <class Match>
  [[gnu::always_inline]] uint64_t next(Match match) {
    const uint64_t rows = std::min<uint64_t>(rows_left_, 64);
    alignas(64) uint64_t masks[8];
    _mm512_store_si512(masks, byte_masks((rows * code_bits + 7) / 8));
    rows_left_ -= rows;
    lens_ += code_bytes;
    __m512i values[lanes::vectors];
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
    return match([&](unsigned v) { return values[v]; }) & low_bits(rows);
  }

private:
  __m512i expanded(uint64_t mask, __m512i stored) {
    values_ += popcount(mask);
    return lanes_.placed(_mm512_maskz_expand_epi8(mask, stored));
  }

  // A bit for each byte of 64 values that is stored.
  __m512i byte_masks(uint64_t size) const {
    const __m512i codes = _mm512_maskz_loadu_epi8(low_bits(size), lens_);
    const __m512i twice = _mm512_permutexvar_epi8(load_vector(pair_index), codes);
    constexpr uint64_t high_halves = 0x5555555555555555; // the first row has the high half
    const __m512i halves = _mm512_mask_blend_epi8(high_halves, twice, _mm512_srli_epi16(twice, 4));
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

  const lanes lanes_{8 * value_bytes};
  const uint8_t *values_;
  const uint8_t *lens_;
  uint64_t rows_left_;
};

template <class Value>
uint32_t select_values(const uint8_t *stream, uint32_t nrows, const uint8_t *lens, const wrapped_range &range,
                       uint64_t *out) {
  using lanes = typename packed_values<Value>::lanes;
  using operations = typename lanes::operations;
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  packed_values<Value> values(stream, lens, nrows);
  const __m512i low = operations::all(range.low), span = operations::all(range.span);
  uint32_t count = 0;
  for (uint64_t word = 0; word < words_of(nrows); ++word) {
    const uint64_t bits = values.next([&](auto value) {
      return collect_masks<lanes>(
          [&](unsigned v) { return operations::at_most(operations::subtract(value(v), low), span); });
    });
    set_word(out, word, bits);
    count += popcount(bits);
  }
  return count;
}

template <class Value>
uint32_t select_with_codes(const uint8_t *stream, uint32_t nrows, const uint8_t *lens, const pair_interval &range,
                           uint64_t *out) {
  packed_values<Value> values(stream, lens, nrows);
  const pair_bounds<typename packed_values<Value>::lanes> bounds(range);
  code_answers answers;
  return select_pieces(nrows, range, out, [&](uint32_t first, uint32_t rows, uint64_t *words) {
    answers.fill({lens, length_code_bits(8 * sizeof(Value)), nullptr}, first, rows, range,
                 vbmi_kernels::select_interval);
    uint32_t count = 0;
    for (uint64_t word = 0; word < words_of(rows); ++word) {
      const uint64_t bits =
          values.next([&](auto value) { return bounds.match(value, answers.below[word], answers.above[word]); });
      set_word(words, word, bits);
      count += popcount(bits);
    }
    return count;
  });
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_kernels {

uint32_t select_packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                       const wrapped_range &range, uint64_t *out) {
  const auto kernel = width == 16   ? select_values<uint16_t>
                      : width == 32 ? select_values<uint32_t>
                                    : select_values<uint64_t>;
  return kernel(values, nrows, lens, range, out);
}

uint32_t select_packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                             const pair_interval &range, uint64_t *out) {
  const auto kernel = width == 16   ? select_with_codes<uint16_t>
                      : width == 32 ? select_with_codes<uint32_t>
                                    : select_with_codes<uint64_t>;
  return kernel(values, nrows, lens, range, out);
}

} // namespace vorn::vbmi_kernels
