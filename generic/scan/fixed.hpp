// The reader of fixed values: big-endian numbers at a fixed stride, in classes of W bits.  The classes of 32 and 64
// bits also serve narrower widths.  With Tz a row has a second sort key, its length code.
#pragma once

#include <algorithm>

#include "frame/assertion.hpp"
#include "generic/scan/dict.hpp"
#include "generic/scan/length_codes.hpp"
#include "generic/scan/word_loops.hpp"

namespace vorn::inline VORN_LEVEL {

// The 64 numbers of a block of 64 * stride bytes.  Nothing else is read.
template <class Value>
inline void read64(const uint8_t *block, unsigned stride, Value *values) {
  if (stride == sizeof(Value)) {
    for (unsigned i = 0; i < 64; ++i)
      values[i] = load_big<Value>(block + i * sizeof(Value));
    return;
  }
  // Each load ends with its number, except that the first few loads begin with the block.
  const unsigned forward = 8 / stride;
  for (unsigned i = 0; i < forward; ++i)
    values[i] = static_cast<Value>(load_big<uint64_t>(block + i * stride) >> (64 - 8 * stride));
  for (unsigned i = forward; i < 64; ++i)
    values[i] = static_cast<Value>(load_big<uint64_t>(block + (i + 1) * stride - 8) & low_bits(8 * stride));
}

// The values of nrows rows.  Nothing is read after the last value or after the last length code.
template <unsigned W, bool Tz>
class fixed {
  using key = sort_key<W, Tz>;
  using lane_type = typename key::lane_type;
  using value =
      std::conditional_t<Tz, lane<(W < 64 ? W + 8 : 64)>, lane<W>>; // with Tz a value may be wider than the class

public:
  using loops = word_loops;
  using number = typename key::number;
  static constexpr number max = key::max;

  fixed(const uint8_t *stream, uint32_t nrows, const vorn_cv &src, const vorn_cv &cst)
      : values_(stream), nrows_(nrows), lens_(src.vorn_cv_lens, nrows) {
    if constexpr (W > 16) {
      width_ = (Tz ? src : cst).vorn_cv_encoding_context->vorn_enc_ctx_width;
      stride_ = std::clamp(width_ / 8, 1U, unsigned{sizeof(value)});
    }
    if (Tz && src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_UNIFORM_LENS)
      uniform_ = static_cast<const uint8_t *>(src.vorn_cv_lens);
  }

  static bool accepts(const vorn_cv & /*cst*/) { return true; }

  number constant(const vorn_cv &cst) const {
    const auto *code = static_cast<const uint8_t *>(cst.vorn_cv_lens);
    return key::of(read_big(static_cast<const uint8_t *>(cst.vorn_cv_vals), stride_), Tz ? *code : 0U);
  }
  number selective_constant(const vorn_cv &cst) const { return constant(cst); }

  // One bit for each of the 64 rows from 64 * word on, and 0 after the last row.
  template <class Predicate>
  uint64_t match(uint64_t word, const Predicate &predicate) const {
    check_width();
    const uint8_t *block = values_ + word * 64 * stride_;
    const uint64_t rows = nrows_ - 64 * word;
    if (rows >= 64)
      return match_block(block, word, predicate);
    uint8_t padded[64 * sizeof(value)] = {};
    std::memcpy(padded, block, rows * stride_);
    return match_block(padded, word, predicate) & low_bits(rows);
  }

  number at(uint64_t row) const {
    check_width();
    const uint8_t *bytes = values_ + row * stride_;
    const bool near_end = (nrows_ - row) * stride_ < 8;
    const uint64_t x = near_end ? read_big(bytes, stride_) : load_big<uint64_t>(bytes) >> (64 - 8 * stride_);
    if constexpr (Tz)
      return key::of(x, uniform_ != nullptr ? *uniform_ : lens_.at(row));
    else
      return x;
  }

protected:
  const uint8_t *values() const { return values_; }
  unsigned stride() const { return stride_; }
  const uint8_t *lens() const { return lens_.bytes(); }
  const uint8_t *uniform() const { return uniform_; } // the length code of all rows, or null if each row has one

  // With the second key, only these widths have a meaning.
  void check_width() const {
    if constexpr (Tz && W > 16)
      if (width_ != W && width_ != 24 && width_ != 40 && width_ != 48 && width_ != 56)
        VORN_INVALID_NUMBER(width_, "generic/vornc_generic");
  }

private:
  template <class Predicate>
  uint64_t match_block(const uint8_t *block, uint64_t word, const Predicate &predicate) const {
    if constexpr (!Tz)
      if (stride_ == W / 8)
        return vorn::match_block<W>(block, predicate); // the values are codes of this width
    value values[64];
    read64(block, stride_, values);
    uint8_t codes[64];
    if (uniform_ != nullptr)
      std::fill_n(codes, 64, *uniform_);
    else if (Tz)
      lens_.unpack(word, codes);
    return predicate.template match64<lane_type>([&](unsigned i) { return key::of(values[i], Tz ? codes[i] : 0U); });
  }

  const uint8_t *values_;
  uint32_t nrows_;
  uint32_t width_ = W;
  unsigned stride_ = W / 8;
  length_codes<W> lens_;
  const uint8_t *uniform_ = nullptr;
};

// Bytes are read as dictionary codes of 8 bits.  They have no second key, and every kernel takes one byte of the
// constant.
template <bool Tz>
class fixed<8, Tz> : public dict<8> {
public:
  using dict<8>::dict;
  static uint64_t selective_constant(const vorn_cv &cst) { return constant(cst); }
};

} // namespace vorn::inline VORN_LEVEL
