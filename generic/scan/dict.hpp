// Reader of dictionary codes, for the scans.
#pragma once

#include "frame/vorn.h"
#include "generic/codes.hpp"
#include "generic/scan/word_loops.hpp"

namespace vorn::inline VORN_LEVEL {

// One bit for each of the 64 codes of a block: does the predicate select it?
template <unsigned W, class Predicate>
inline uint64_t match_block(const uint8_t *block, const Predicate &predicate) {
  if constexpr (W == 8 || W == 64) { // bytes lie ready, and words gain nothing from a detour over memory
    return predicate.template match64<lane<W>>(
        [&](unsigned i) { return load_big<lane<W>>(block + i * sizeof(lane<W>)); });
  } else {
    lane<W> codes[64];
    unpack64<W>(block, codes);
    return predicate.template match64<lane<W>>([&](unsigned i) { return codes[i]; });
  }
}

// The code stream of nrows rows.  Nothing is read behind the last code.
template <unsigned W>
class dict {
public:
  using loops = word_loops;
  using number = uint64_t;
  static constexpr number max = low_bits(W);

  dict(const uint8_t *stream, uint32_t nrows, const vorn_cv & /*src*/, const vorn_cv & /*operand*/)
      : stream_(stream), nrows_(nrows), codes_(stream, nrows) {}

  static bool accepts(const vorn_cv & /*cst*/) { return true; }

  // The constant as the full pass sees it: at the widths 8 and 16 only as wide as a code.
  static uint64_t constant(const vorn_cv &cst) {
    if constexpr (W == 8 || W == 16) {
      lane<W> code;
      std::memcpy(&code, cst.vorn_cv_vals, sizeof code);
      return code;
    } else {
      return selective_constant(cst);
    }
  }

  // The constant as the visit of single rows sees it.
  static uint64_t selective_constant(const vorn_cv &cst) {
    uint32_t code;
    std::memcpy(&code, cst.vorn_cv_vals, sizeof code);
    return code;
  }

  // One bit for each of the rows 64 * word and following, 0 behind the last row.
  template <class Predicate>
  uint64_t match(uint64_t word, const Predicate &predicate) const {
    const uint8_t *block = stream_ + word * (8 * W);
    const uint64_t rows = nrows_ - 64 * word;
    if (rows >= 64)
      return match_block<W>(block, predicate);
    const last_block<W> last(block, rows);
    return match_block<W>(last.bytes, predicate) & low_bits(rows);
  }

  uint64_t at(uint64_t row) const { return codes_.at(row); }

  const uint8_t *stream() const { return stream_; }

private:
  const uint8_t *stream_;
  uint32_t nrows_;
  code_reader<W> codes_;
};

} // namespace vorn::inline VORN_LEVEL
