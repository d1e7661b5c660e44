// Packed codes: big-endian bit strings of W bits a row.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

#include "frame/bits.hpp"
#include "generic/big_endian.hpp"

namespace vorn::inline VORN_LEVEL {

inline constexpr unsigned any_width = 0;

// Reads single codes of a stream of ncodes and no byte after the last one.  If a caller asks for a code after the last
// one, the reader reads the bytes of that code and some bytes before it.  The width is W, or a number of up to 32 bits
// that the constructor takes.
template <unsigned W>
class code_reader {
public:
  code_reader(const uint8_t *stream, uint64_t ncodes, unsigned width = W) : stream_(stream), width_(width) {
    const uint64_t size = (ncodes * this->width() + 7) / 8;
    early_bits_ = size < 4 ? 0 : 8 * (size - 3);
  }

  uint64_t at(uint64_t index) const {
    if constexpr (W != any_width && W == 8 * sizeof(lane<W>)) {
      return load_big<lane<W>>(stream_ + index * sizeof(lane<W>));
    } else {
      const uint64_t bit = index * width();
      if (bit < early_bits_)
        return load_big<uint32_t>(stream_ + bit / 8) << bit % 8 >> (32 - width());
      return from_its_end(bit + width());
    }
  }

private:
  unsigned width() const { return W == any_width ? width_ : W; }

  // Reads bytes of the code and bytes before it.
  uint32_t from_its_end(uint64_t end_bit) const {
    const uint64_t end = (end_bit + 7) / 8;
    const uint64_t bits =
        end >= 4 ? load_big<uint32_t>(stream_ + end - 4) : read_big(stream_, static_cast<unsigned>(end));
    return static_cast<uint32_t>(bits >> (8 * end - end_bit) & low_bits(width()));
  }

  const uint8_t *stream_;
  unsigned width_;
  uint64_t early_bits_; // a code that begins before this bit has four bytes in the stream
};

// Moves 8 codes of W bits to the bytes of a number.  Each step moves the upper half of the codes of every lane apart.
template <unsigned W>
inline uint64_t spread_to_bytes(uint64_t codes) {
  codes = codes >> 4 * W << 32 | (codes & low_bits(4 * W));
  constexpr uint64_t pairs = low_bits(2 * W) * 0x100000001, singles = low_bits(W) * 0x1000100010001;
  codes = (codes >> 2 * W & pairs) << 16 | (codes & pairs);
  return (codes >> W & singles) << 8 | (codes & singles);
}

// Unpacks the 64 codes of a block of 8 * W bytes and reads nothing else.  An element is at least as wide as a code.
template <unsigned W, class Element>
inline void unpack64(const uint8_t *block, Element *codes) {
  if constexpr (W == 8 * sizeof(lane<W>)) {
    for (unsigned i = 0; i < 64; ++i)
      codes[i] = load_big<lane<W>>(block + i * sizeof(lane<W>));
  } else if constexpr (W < 8) {
    // A group of 8 codes takes W bytes.  One load ends with the group, or takes the first 8 bytes of the block.
    for (unsigned group = 0; group < 8; ++group) {
      const unsigned end = (group + 1) * W;
      const unsigned at = end > 8 ? end - 8 : 0;
      const uint64_t bits = load_big<uint64_t>(block + at) >> (8 * (at + 8 - end));
      if constexpr (sizeof(Element) == 1) {
        const uint64_t bytes = __builtin_bswap64(spread_to_bytes<W>(bits & low_bits(8 * W)));
        std::memcpy(codes + 8 * group, &bytes, sizeof bytes);
      } else {
        for (unsigned k = 0; k < 8; ++k)
          codes[8 * group + k] = static_cast<Element>(bits >> (W * (7 - k)) & low_bits(W));
      }
    }
  } else {
    // A group takes more than 8 bytes.  Each code has a load, which moves back where it would leave the group.
    for (unsigned group = 0; group < 8; ++group) {
      const uint8_t *bytes = block + group * W;
      [&]<size_t... K>(std::index_sequence<K...>) {
        const auto code = [&]<size_t k>(std::integral_constant<size_t, k>) {
          constexpr unsigned bit = k * W;
          constexpr unsigned at = bit / 8 < W - 8 ? bit / 8 : W - 8;
          return static_cast<Element>(load_big<uint64_t>(bytes + at) >> (64 - W - (bit - 8 * at)) & low_bits(W));
        };
        ((codes[8 * group + K] = code(std::integral_constant<size_t, K>{})), ...);
      }
      (std::make_index_sequence<8>{});
    }
  }
}

// The last block of a stream, with fewer than 64 codes.  It is a copy, so that nothing is read after the last code.
template <unsigned W>
struct last_block {
  uint8_t bytes[8 * W] = {};

  last_block(const uint8_t *block, uint64_t ncodes) {
    const uint64_t bits = ncodes * W;
    std::memcpy(bytes, block, (bits + 7) / 8);
    // Stray bits of the last byte would make a code that no row has.  A set has no word for such a code.
    if (bits % 8 != 0)
      bytes[bits / 8] = static_cast<uint8_t>(bytes[bits / 8] & 0xff00U >> bits % 8);
  }
};

} // namespace vorn::inline VORN_LEVEL
