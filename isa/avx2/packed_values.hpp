// Dynamic-packed values.  A byte of length codes selects a shuffle that expands the stored bytes of its rows to a half.
// The shuffle puts each value at the top of its lane, with zeros for the bytes that are not stored.
#pragma once

#include "generic/big_endian.hpp"
#include "generic/scan/dynp_lengths.hpp"
#include "isa/avx2/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

// A shuffle for each byte of length codes.
template <unsigned W>
inline constexpr auto expand_shuffles = [] {
  constexpr unsigned bits = length_code_bits(W), rows = 8 / bits, size = W / 8;
  std::array<std::array<uint8_t, 16>, 256> out = {};
  for (unsigned codes = 0; codes < 256; ++codes) {
    unsigned position = 0;
    for (unsigned row = 0; row < rows; ++row) {
      const unsigned length = (codes >> (8 - bits * (row + 1)) & (size - 1)) + 1;
      for (unsigned byte = 0; byte < size; ++byte)
        out[codes][size * row + size - 1 - byte] = static_cast<uint8_t>(byte < length ? position + byte : 0x80);
      position += length;
    }
  }
  return out;
}();

// Walks over values of W bits.
template <unsigned W>
class packed_values {
  static constexpr unsigned code_bytes = 8 * length_code_bits(W); // of 64 rows
  static constexpr unsigned per_byte = 8 / length_code_bits(W);
  static constexpr unsigned block_bytes = 8 * W; // of 64 values

public:
  using lanes = value_lanes<lane<W>>;

  packed_values(const uint8_t *values, const uint8_t *lens, uint32_t nrows)
      : values_(values), lens_(lens), rows_left_(nrows) {}

  // Returns match(value) for the next 64 rows, or for the rows that are left.  value(group, v) is vector v of a group.
  template <class Match>
  [[gnu::always_inline]] uint64_t next(Match match) {
    const uint64_t rows = std::min<uint64_t>(rows_left_, 64);
    rows_left_ -= rows;
    alignas(sizeof(vector)) uint8_t values[block_bytes];
    if (rows_left_ >= half_bytes) // every row has a byte, so whole loads end within the values
      values_ = expand(values_, lens_, code_bytes, values);
    else
      values_ += expand_last(rows, values);
    lens_ += code_bytes;
    const auto value = [&](unsigned group, auto v) __attribute__((always_inline)) {
      const unsigned first = group * group_codes + v * lanes::per_half;
      return load_halves(values + first * (W / 8), 2 * W);
    };
    return match(value) & low_bits(rows);
  }

private:
  // Returns the end of the stored bytes.
  [[gnu::always_inline]] static const uint8_t *expand(const uint8_t *stored, const uint8_t *codes, uint64_t size,
                                                      uint8_t *values) {
#pragma GCC unroll 4
    for (uint64_t i = 0; i < size; ++i) {
      const unsigned byte = legal(codes[i]);
      const __m128i bytes = _mm_shuffle_epi8(load_half(stored), load_half(expand_shuffles<W>[byte].data()));
      store_half(values + half_bytes * i, bytes);
      stored += length_consumed<W>[byte];
    }
    return stored;
  }

  // Expands a copy, so nothing is read after the last value.  Returns the number of stored bytes.
  uint64_t expand_last(uint64_t rows, uint8_t *values) const {
    uint8_t codes[code_bytes] = {};
    const uint64_t size = (rows + per_byte - 1) / per_byte, unused = size * per_byte - rows;
    std::memcpy(codes, lens_, size);
    codes[size - 1] = static_cast<uint8_t>(codes[size - 1] & 0xff << unused * length_code_bits(W));
    uint64_t stored = 0;
    for (uint64_t i = 0; i < size; ++i)
      stored += length_consumed<W>[legal(codes[i])];
    uint8_t copy[block_bytes + half_bytes] = {};
    stored -= unused; // a code of 0 counts 1
    std::memcpy(copy, values_, stored);
    expand(copy, codes, code_bytes, values);
    return stored;
  }

  // An illegal code must not lead out of the buffers.
  static unsigned legal(unsigned codes) { return W == 64 ? codes & 0x77 : codes; }

  const uint8_t *values_;
  const uint8_t *lens_;
  uint64_t rows_left_;
};

} // namespace vorn::inline VORN_LEVEL
