// Reader of dictionary codes: packed big-endian bit strings of W bits a row.
#pragma once

#include <utility>

#include "generic/vornc_generic.hpp"

namespace vorn {

// Unpacks the 64 codes of a block of 8 * W bytes and reads nothing else.
template <unsigned W>
inline void unpack64(const uint8_t *block, lane<W> *codes) {
  if constexpr (W == 8 * sizeof(lane<W>)) {
    for (unsigned i = 0; i < 64; ++i)
      codes[i] = load_big<lane<W>>(block + i * sizeof(lane<W>));
  } else if constexpr (W < 8) {
    // A group of 8 codes takes W bytes: one load that ends with the group, or at the first 8 bytes of the block.
    for (unsigned group = 0; group < 8; ++group) {
      const unsigned end = (group + 1) * W;
      const unsigned at = end > 8 ? end - 8 : 0;
      const uint64_t bits = load_big<uint64_t>(block + at) >> (8 * (at + 8 - end));
      for (unsigned k = 0; k < 8; ++k)
        codes[8 * group + k] = static_cast<lane<W>>(bits >> (W * (7 - k)) & low_bits(W));
    }
  } else {
    // A group takes more than 8 bytes: one load for each code, moved back where it would leave the group.
    for (unsigned group = 0; group < 8; ++group) {
      const uint8_t *bytes = block + group * W;
      [&]<size_t... K>(std::index_sequence<K...>) {
        const auto code = [&]<size_t k>(std::integral_constant<size_t, k>) {
          constexpr unsigned bit = k * W;
          constexpr unsigned at = bit / 8 < W - 8 ? bit / 8 : W - 8;
          return static_cast<lane<W>>(load_big<uint64_t>(bytes + at) >> (64 - W - (bit - 8 * at)) & low_bits(W));
        };
        ((codes[8 * group + K] = code(std::integral_constant<size_t, K>{})), ...);
      }
      (std::make_index_sequence<8>{});
    }
  }
}

// One bit for each of the 64 codes of a block: what the question says of it.
template <unsigned W, class Question>
inline uint64_t match_block(const uint8_t *block, const Question &question) {
  if constexpr (W == 8 || W == 64) { // bytes lie ready, and words gain nothing from a detour over memory
    return question.template match64<lane<W>>(
        [&](unsigned i) { return load_big<lane<W>>(block + i * sizeof(lane<W>)); });
  } else {
    lane<W> codes[64];
    unpack64<W>(block, codes);
    return question.template match64<lane<W>>([&](unsigned i) { return codes[i]; });
  }
}

// The code stream of nrows rows.  Nothing is read behind the last code.
template <unsigned W>
class dict {
public:
  using number = uint64_t;
  static constexpr number max = low_bits(W);

  dict(const uint8_t *stream, uint32_t nrows, const vorn_cv & /*src*/, const vorn_cv & /*operand*/)
      : stream_(stream), nrows_(nrows) {}

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
  template <class Question>
  uint64_t match(uint64_t word, const Question &question) const {
    const uint8_t *block = stream_ + word * (8 * W);
    const uint64_t rows = nrows_ - 64 * word;
    if (rows >= 64)
      return match_block<W>(block, question);
    uint8_t padded[8 * W] = {};
    const uint64_t bits = rows * W;
    std::memcpy(padded, block, (bits + 7) / 8);
    // Stray bits of the last byte would make a code that no row has, for which a set has no word.
    if (bits % 8 != 0)
      padded[bits / 8] = static_cast<uint8_t>(padded[bits / 8] & 0xff00U >> bits % 8);
    return match_block<W>(padded, question) & low_bits(static_cast<unsigned>(rows));
  }

  uint64_t at(uint64_t row) const {
    if constexpr (W == 8 * sizeof(lane<W>)) {
      return load_big<lane<W>>(stream_ + row * sizeof(lane<W>));
    } else {
      const uint64_t bit = row * W;
      const uint32_t bits = load_up_to_4(bit / 8) << (bit % 8);
      return bits >> (32 - W);
    }
  }

private:
  // Four bytes as a big-endian number, zero behind the stream.
  uint32_t load_up_to_4(uint64_t at) const {
    const uint64_t size = (uint64_t{nrows_} * W + 7) / 8;
    if (at + 4 <= size)
      return load_big<uint32_t>(stream_ + at);
    uint8_t padded[4] = {};
    std::memcpy(padded, stream_ + at, size - at);
    return load_big<uint32_t>(padded);
  }

  const uint8_t *stream_;
  uint32_t nrows_;
};

} // namespace vorn
