// Tests 64 codes at a time.
#pragma once

#include <utility>

#include "generic/bitvec/words.hpp"
#include "isa/vbmi/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

inline uint32_t sum_of(__m512i counts) { return static_cast<uint32_t>(_mm512_reduce_add_epi64(counts)); }

// The number of ones of words at any address.
[[gnu::noinline]] inline uint32_t ones_of(const void *words, uint64_t nwords) {
  const auto *at = static_cast<const uint8_t *>(words);
  if (nwords <= 16) { // they may have just been written, and a load of a vector would wait for the stores
    uint32_t count = 0;
    for (; nwords != 0; --nwords, at += 8) {
      uint64_t word;
      std::memcpy(&word, at, sizeof word);
      count += popcount(word);
    }
    return count;
  }
  __m512i counts = _mm512_setzero_si512();
  for (; nwords >= 8; nwords -= 8, at += 64)
    counts = _mm512_add_epi64(counts, _mm512_popcnt_epi64(load_vector(at)));
  const auto rest = static_cast<__mmask8>(low_bits(nwords));
  return sum_of(_mm512_add_epi64(counts, _mm512_popcnt_epi64(_mm512_maskz_loadu_epi64(rest, at))));
}

// One bit for each lane of the vectors of 64 codes.  answer(v) is the mask of vector v.
template <class Lanes, class Answer>
[[gnu::always_inline]] inline uint64_t collect_masks(Answer answer) {
  return [&]<size_t... V>(std::index_sequence<V...>) __attribute__((always_inline)) {
    return ((uint64_t{answer(static_cast<unsigned>(V))} << (V * Lanes::codes)) | ...);
  }
  (std::make_index_sequence<Lanes::vectors>{});
}

// Copies size >= 1 bytes and writes zeros up to a capacity in whole vectors.  Of the last byte only the bits of a mask
// are copied.
[[gnu::noinline]] inline void copy_padded(uint8_t *to, uint64_t capacity, const uint8_t *from, uint64_t size,
                                          unsigned last_mask) {
  uint64_t at = 0;
  for (; at + 64 < size; at += 64)
    _mm512_store_si512(to + at, load_vector(from + at));
  const uint64_t left = size - at;
  const __m512i end = _mm512_maskz_loadu_epi8(low_bits(left), from + at);
  const auto last = static_cast<char>(from[size - 1] & last_mask);
  _mm512_store_si512(to + at, _mm512_mask_set1_epi8(end, uint64_t{1} << (left - 1), last));
  for (at += 64; at < capacity; at += 64)
    _mm512_store_si512(to + at, _mm512_setzero_si512());
}

// The blocks of 64 codes of a stream.  A vector is loaded whole, though its codes may have fewer bytes.  If a load of a
// block would read after the last code, the block is in a copy with zeros after the codes.
template <class Lanes>
class code_blocks {
public:
  // The copy is not cleared if no block needs it.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  code_blocks(const Lanes &lanes, const uint8_t *stream, uint64_t ncodes)
      : stream_(stream), block_bytes_(lanes.block_bytes()), blocks_((ncodes + 63) / 64) {
    const uint64_t loaded = 64 + (Lanes::vectors - 1) * lanes.vector_bytes(); // of a block
    const uint64_t bits = ncodes * lanes.width(), size = (bits + 7) / 8;
    in_stream_ = size < loaded ? 0 : std::min((size - loaded) / block_bytes_ + 1, ncodes / 64);
    if (in_stream_ == blocks_)
      return;
    const uint64_t copied = in_stream_ * block_bytes_, capacity = (2 * loaded + 63) / 64 * 64;
    // Stray bits of the last byte would make a code that no row has.  A set has no word for such a code.
    copy_padded(rest_, capacity, stream + copied, size - copied, bits % 8 != 0 ? 0xff00U >> bits % 8 : 0xffU);
  }

  uint64_t size() const { return blocks_; }
  uint64_t in_stream() const { return in_stream_; }

  const uint8_t *operator[](uint64_t block) const {
    return block < in_stream_ ? stream_ + block * block_bytes_ : rest_ + (block - in_stream_) * block_bytes_;
  }

private:
  const uint8_t *stream_;
  uint64_t block_bytes_;
  uint64_t blocks_;
  uint64_t in_stream_;
  alignas(64) uint8_t rest_[2 * 64 * Lanes::vectors];
};

// Writes match(word, block) for each word of 64 of nrows codes, zeros up to the end of the last word, and returns the
// number of ones.
template <class Lanes, class Match>
[[gnu::always_inline]] inline uint32_t select_words(const Lanes &lanes, const uint8_t *stream, uint32_t nrows,
                                                    const Match &match, uint64_t *out) {
  const code_blocks<Lanes> blocks(lanes, stream, nrows);
  constexpr uint64_t piece = 512; // words; their ones are counted while they are in the cache
  const uint64_t words = blocks.size(), in_stream = blocks.in_stream(), block_bytes = lanes.block_bytes();
  uint32_t count = 0;
  for (uint64_t first = 0; first < words;) {
    const uint64_t end = first < in_stream ? std::min(first + piece, in_stream) : words;
    const uint8_t *block = blocks[first];
#pragma GCC unroll 2
    for (uint64_t word = first; word < end; ++word, block += block_bytes)
      set_word(out, word, match(word, block));
    if (end == words)
      set_word(out, end - 1, get_word(out, end - 1) & low_bits(nrows - 64 * (end - 1)));
    count += ones_of(out + first, end - first);
    first = end;
  }
  return count;
}

// The same for a test that takes the lanes of a vector.  test(bytes) is a mask.
template <class Lanes, class Test>
[[gnu::always_inline]] inline uint32_t select_codes(const Lanes &lanes, const uint8_t *stream, uint32_t nrows,
                                                    const Test &test, uint64_t *out) {
  const auto match = [&](uint64_t /*word*/, const uint8_t *block) {
    return collect_masks<Lanes>([&](unsigned v) { return test(lanes.load(block, v)); });
  };
  return select_words(lanes, stream, nrows, match, out);
}

} // namespace vorn::inline VORN_LEVEL
