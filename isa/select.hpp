// Tests 64 codes at a time.
#pragma once

#include <algorithm>

#include "generic/bitvec/words.hpp"
#include "isa/vectors.hpp"

namespace vorn::inline VORN_LEVEL {

// The first n codes of a stream of ncodes, in blocks of 64.  A vector is loaded whole, though it may use fewer bytes.
// If a load of a block would read after the last code of the stream, the block is in a copy with zeros after the codes.
template <class Lanes>
class code_blocks {
public:
  // The copy is not cleared if no block needs it.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  code_blocks(const Lanes &lanes, const uint8_t *stream, uint64_t ncodes, uint64_t n)
      : stream_(stream), block_bytes_(lanes.block_bytes()), blocks_((n + 63) / 64) {
    in_stream_ = whole(lanes, ncodes);
    if (in_stream_ >= blocks_) {
      in_stream_ = blocks_;
      return;
    }
    const uint64_t bits = ncodes * lanes.width(), size = (bits + 7) / 8, copied = in_stream_ * block_bytes_;
    const uint64_t capacity = (blocks_ - in_stream_) * block_bytes_ + lanes.slack();
    // Stray bits of the last byte would make a code that no row has.  A set has no word for such a code.
    copy_padded(rest_, capacity, stream + copied, size - copied, bits % 8 != 0 ? 0xff00U >> bits % 8 : 0xffU);
  }

  // The number of blocks that can be loaded without a read after the last code.
  static uint64_t whole(const Lanes &lanes, uint64_t ncodes) {
    const uint64_t size = (ncodes * lanes.width() + 7) / 8, slack = lanes.slack();
    return size < slack ? 0 : std::min((size - slack) / lanes.block_bytes(), ncodes / 64);
  }

  uint64_t size() const { return blocks_; }
  uint64_t in_stream() const { return in_stream_; }

  // The blocks in the stream lie one after the other, and so do the others.
  const uint8_t *operator[](uint64_t block) const {
    return block < in_stream_ ? stream_ + block * block_bytes_ : rest_ + (block - in_stream_) * block_bytes_;
  }

private:
  const uint8_t *stream_;
  uint64_t block_bytes_;
  uint64_t blocks_;
  uint64_t in_stream_;
  alignas(64) uint8_t rest_[16 * Lanes::bits + sizeof(vector)]; // at most two blocks and what is read after them
};

// Writes match(word, block) for each word of 64 of nrows codes, zeros up to the end of the last word, and returns the
// number of ones.
template <class Lanes, class Match>
[[gnu::always_inline]] inline uint32_t select_words(const Lanes &lanes, const uint8_t *stream, uint32_t nrows,
                                                    const Match &match, uint64_t *out) {
  const code_blocks<Lanes> blocks(lanes, stream, nrows, nrows);
  const uint64_t words = blocks.size(), in_stream = blocks.in_stream(), block_bytes = lanes.block_bytes();
  result_counter ones;
  for (uint64_t first = 0; first < words;) {
    const bool whole = first < in_stream;
    const uint64_t end = whole ? std::min(first + result_counter::piece, in_stream) : first + 1;
    const uint64_t rows = whole ? UINT64_MAX : low_bits(nrows - 64 * first);
    const uint8_t *block = blocks[first];
#pragma GCC unroll words_at_once
    for (uint64_t word = first; word < end; ++word, block += block_bytes) {
      const uint64_t bits = match(word, block) & rows;
      set_word(out, word, bits);
      ones.add(bits);
    }
    ones.add_piece(out + first, end - first);
    first = end;
  }
  return ones.count();
}

// The same for a test that takes the lanes of a vector.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint32_t select_codes(const Lanes &lanes, const uint8_t *stream, uint32_t nrows,
                                                    const Test &test, uint64_t *out) {
  const auto match = [&](uint64_t /*word*/, const uint8_t *block) {
    return word_of<Lanes>([&](unsigned group, auto v) { return test(lanes.top(block, group, v)); });
  };
  return select_words(lanes, stream, nrows, match, out);
}

} // namespace vorn::inline VORN_LEVEL
