// Length codes of rows, and the number that stands for a value with its length code.  The length code is the second
// sort key of fixed and dynamic-packed values.
#pragma once

#include "generic/codes.hpp"

namespace vorn::inline VORN_LEVEL {

// The number of bits of a length code in the class of W-bit values.
constexpr unsigned length_code_bits(unsigned W) { return W == 64 ? 4 : W == 32 ? 2 : 1; }

// The number that predicates compare.  Two keys make one number, with the value above the length code.  The number
// sorts like the pair.
template <unsigned W, bool Tz>
struct sort_key {
  using lane_type = lane<Tz ? W + 8 : W>;
  using number = std::conditional_t<(sizeof(lane_type) > 8), lane_type, uint64_t>;

  static constexpr number max = static_cast<lane_type>(~lane_type{0});

  static constexpr lane_type of(uint64_t value, unsigned code) {
    if constexpr (Tz)
      return static_cast<lane_type>(static_cast<lane_type>(value) << 8 | code);
    else
      return static_cast<lane_type>(value);
  }
};

// The codes of nrows rows, packed like dictionary codes of the same width.  Nothing is read after the last code.
template <unsigned W>
class length_codes {
public:
  static constexpr unsigned bits = length_code_bits(W);
  static constexpr unsigned per_byte = 8 / bits;

  length_codes(const void *bytes, uint32_t nrows) : bytes_(static_cast<const uint8_t *>(bytes)), nrows_(nrows) {}

  // The codes of the 64 rows from 64 * word on, and 0 after the last row.
  void unpack(uint64_t word, uint8_t *codes) const {
    const uint8_t *block = bytes_ + word * (8 * bits);
    const uint64_t rows = nrows_ - 64 * word;
    if (rows >= 64)
      return unpack64<bits>(block, codes);
    const last_block<bits> last(block, rows);
    unpack64<bits>(last.bytes, codes);
  }

  const uint8_t *bytes() const { return bytes_; }
  uint8_t byte(uint64_t index) const { return bytes_[index]; }

  uint8_t at(uint64_t row) const {
    const uint64_t codes_after = per_byte - 1 - row % per_byte;
    return static_cast<uint8_t>(byte(row / per_byte) >> (bits * codes_after) & low_bits(bits));
  }

private:
  const uint8_t *bytes_;
  uint32_t nrows_;
};

} // namespace vorn::inline VORN_LEVEL
