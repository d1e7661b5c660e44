// Reader of dictionary codes: packed big-endian bit strings of W bits a row.
#pragma once

#include <bit>
#include <type_traits>
#include <utility>

#include "generic/predicate.hpp"
#include "generic/vornc_generic.hpp"

namespace vorn {

// The narrowest integer that holds a code.
template <unsigned W>
using lane = std::conditional_t<W <= 8, uint8_t,
                                std::conditional_t<W <= 16, uint16_t, std::conditional_t<W <= 32, uint32_t, uint64_t>>>;

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

// One bit for each of 64 codes: is it in [low, low + span]?  code(i) gives code i.
template <class Lane, class Code>
inline uint64_t in_range64(Code code, uint64_t low, uint64_t span) {
  const auto hit = [&](unsigned i) {
    return static_cast<uint8_t>(static_cast<Lane>(code(i) - static_cast<Lane>(low)) <= static_cast<Lane>(span));
  };
  uint64_t word = 0;
  if constexpr (sizeof(Lane) == 8) {
    // The baseline has no vector compare of 64-bit numbers; short chains of bits beat a detour over memory.
    for (unsigned group = 0; group < 64; group += 8) {
      unsigned byte = 0;
      for (unsigned k = 8; k-- > 0;)
        byte = 2 * byte + hit(group + k);
      word |= uint64_t{byte} << group;
    }
  } else {
    alignas(8) uint8_t hits[64]; // this loop becomes vector compares
    for (unsigned i = 0; i < 64; ++i)
      hits[i] = hit(i);
    for (unsigned group = 0; group < 64; group += 8) {
      uint64_t bytes;
      std::memcpy(&bytes, hits + group, sizeof bytes);
      word |= (bytes * 0x0102040810204080U >> 56) << group; // bit 0 of byte k moves to bit k of the top byte
    }
  }
  return word;
}

template <class Lane, class Code>
inline uint64_t match64(Code code, const interval &in) {
  uint64_t word = in_range64<Lane>(code, in.low, in.span);
  if (in.outside)
    word = ~word;
  if (in.nonzero)
    word &= in_range64<Lane>(code, 1, UINT64_MAX - 1);
  return word;
}

// One bit for each of the 64 codes of a block.
template <unsigned W>
inline uint64_t match_block(const uint8_t *block, const interval &in) {
  if constexpr (W == 8 || W == 64) { // bytes lie ready, and words gain nothing from a detour over memory
    return match64<lane<W>>([&](unsigned i) { return load_big<lane<W>>(block + i * sizeof(lane<W>)); }, in);
  } else {
    lane<W> codes[64];
    unpack64<W>(block, codes);
    return match64<lane<W>>([&](unsigned i) { return codes[i]; }, in);
  }
}

// The code stream of nrows rows.  Nothing is read behind the last code.
template <unsigned W>
class dict {
public:
  static constexpr uint64_t max = low_bits(W);

  dict(const uint8_t *stream, uint32_t nrows) : stream_(stream), nrows_(nrows) {}

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
  uint64_t match(uint64_t word, const interval &in) const {
    const uint8_t *block = stream_ + word * (8 * W);
    const uint64_t rows = nrows_ - 64 * word;
    if (rows >= 64)
      return match_block<W>(block, in);
    uint8_t padded[8 * W] = {};
    std::memcpy(padded, block, (rows * W + 7) / 8);
    return match_block<W>(padded, in) & low_bits(static_cast<unsigned>(rows));
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
