// Reader of dynamic-packed values: back to back, each without its trailing zero bytes, in classes of W bits.  A value's
// length code is one less than its bytes.  With Tz it is a second sort key.
//
// Where a row lies depends on all rows before it.  The reader therefore moves along with the scans: match is called for
// the words from 0 on, at for rows in ascending order, and never both.
#pragma once

#include <algorithm>

#include "frame/vorn.h"
#include "generic/scan/dynp_lengths.hpp"
#include "generic/scan/length_codes.hpp"
#include "generic/scan/word_loops.hpp"

namespace vorn::inline VORN_LEVEL {

template <unsigned W, bool Tz>
class dynp {
  using key = sort_key<W, Tz>;
  using lane_type = typename key::lane_type;
  using value = lane<W>;
  static constexpr uint8_t longest = W / 8 - 1; // the highest code of a stream

public:
  using loops = word_loops;
  using number = typename key::number;
  static constexpr number max = key::max;

  dynp(const uint8_t *stream, uint32_t nrows, const vorn_cv &src, const vorn_cv & /*cst*/)
      : values_(stream), nrows_(nrows), lens_(src.vorn_cv_lens, nrows) {}

  // One more than the longest code is let through: it is that of no row.
  static bool accepts(const vorn_cv &cst) { return code_of(cst) <= W / 8; }

  static number constant(const vorn_cv &cst) {
    return key::of(load_big<value>(static_cast<const uint8_t *>(cst.vorn_cv_vals)), Tz ? code_of(cst) : 0U);
  }
  static number selective_constant(const vorn_cv &cst) { return constant(cst); }

  // One bit for each of the rows 64 * word and following, 0 behind the last row.
  template <class Predicate>
  uint64_t match(uint64_t word, const Predicate &predicate) {
    const auto rows = static_cast<unsigned>(std::min<uint64_t>(nrows_ - 64 * word, 64));
    uint8_t codes[64];
    lens_.unpack(word, codes);
    if (W == 64) // what is no code must not lead out of the buffers
      std::for_each(codes, codes + 64, [](uint8_t &code) { code &= longest; });

    // Every load ends with its value, so that none goes past the last one.  The first values have too little in front
    // of them: they move to where there is more.
    const uint8_t *bytes = values_;
    uint8_t moved[65 * sizeof(value)];
    if (word == 0) {
      std::fill_n(moved, sizeof(value), 0);
      unsigned size = rows;
      for (unsigned i = 0; i < rows; ++i)
        size += codes[i];
      bytes = moved + sizeof(value);
      std::memcpy(moved + sizeof(value), values_, size);
    }
    const uint8_t *end = bytes;
    lane_type keys[64];
    for (unsigned i = 0; i < rows; ++i) {
      end += codes[i] + 1;
      keys[i] = key::of(padded(load_big<value>(end - sizeof(value)), codes[i]), codes[i]);
    }
    std::fill(keys + rows, keys + 64, 0);
    values_ += end - bytes;
    return predicate.template match64<lane_type>([&](unsigned i) { return keys[i]; }) & low_bits(rows);
  }

  number at(uint64_t row) {
    for (; row >= base_ + per_byte; base_ += per_byte)
      position_ += length_consumed<W>[codes_of(base_)];
    // The codes before the row, moved to the end of a byte of their own whose other codes are 0 and count 1 each.
    const auto before = static_cast<unsigned>(row - base_);
    const unsigned preceding = codes_of(base_) >> (8 - before * length_codes<W>::bits);
    const uint64_t position = position_ + length_consumed<W>[preceding] - (per_byte - before);

    const unsigned code = lens_.at(row) & longest;
    const uint8_t *end = values_ + position + code + 1;
    const bool near_start = position + code + 1 < sizeof(value);
    const auto bits =
        near_start ? static_cast<value>(read_big(values_ + position, code + 1)) : load_big<value>(end - sizeof(value));
    return key::of(padded(bits, code), code);
  }

protected:
  const uint8_t *values() const { return values_; }
  const uint8_t *lens() const { return lens_.bytes(); }

private:
  static constexpr unsigned per_byte = length_codes<W>::per_byte;

  // The codes of a byte of them.  What is no code must not lead out of the buffers.
  unsigned codes_of(uint64_t first_row) const { return lens_.byte(first_row / per_byte) & (W == 64 ? 0x77U : 0xffU); }

  static uint8_t code_of(const vorn_cv &cst) { return *static_cast<const uint8_t *>(cst.vorn_cv_lens); }

  // The value whose stored bytes are the last code + 1 of bits: zeros follow them.
  static value padded(value bits, unsigned code) { return static_cast<value>(bits << (W - 8 - 8 * code)); }

  const uint8_t *values_; // from the row of the next match on, or the whole stream under at
  uint32_t nrows_;
  length_codes<W> lens_;
  uint64_t base_ = 0;     // under at: the first row of a byte of length codes
  uint64_t position_ = 0; // and where its value begins
};

} // namespace vorn::inline VORN_LEVEL
