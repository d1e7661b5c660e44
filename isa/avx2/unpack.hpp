// Codes to elements of 1, 2 or 4 bytes, 64 at a time.
#pragma once

#include "isa/avx2/compress.hpp"
#include "isa/avx2/elements.hpp"
#include "isa/avx2/select.hpp"
#include "isa/block_steps.hpp"

namespace vorn::inline VORN_LEVEL {

// The other steps, which want shifts that differ from lane to lane to be vector code.
template <unsigned W, class Element>
using other_steps = std::conditional_t<halves == 2, block_steps<W, Element>, code_steps<W, Element>>;

// Codes of W bits.
template <unsigned W, class Element>
struct lane_steps : other_steps<W, Element> {
  using base = code_steps<W, Element>;
  using lanes = code_lanes<W>;

  [[gnu::noinline]] static void range(const code_stream &stream, uint64_t first, uint32_t n, void *elements) {
    if constexpr (W == 8 && sizeof(Element) == 1)
      return base::range(stream, first, n, elements);
    auto *out = static_cast<Element *>(elements);
    const uint32_t head = base::start_of_range(stream, first, n, out);
    first += head;
    n -= head;
    out += head;
    for (; n >= 64 && is_whole(stream, first); n -= 64, first += 64, out += 64)
      unpack_block<W>(stream.bytes + first / 8 * W, out);
    for (; n != 0; out += std::min(n, 64U), n -= std::min(n, 64U), first += 64) {
      const padded_block<lanes> last(stream.bytes + first / 8 * W, (uint64_t{std::min(n, 64U)} * W + 7) / 8);
      Element rest[64];
      unpack_block<W>(last.bytes, rest);
      std::copy_n(rest, std::min(n, 64U), out);
    }
  }

  // A word of the filter at a time, where it has some rows in a word; single rows otherwise and at the end.
  [[gnu::noinline]] static uint32_t filter(const code_stream &stream, const uint64_t *rows, uint32_t first,
                                           uint32_t &room, void *elements) {
    auto *out = static_cast<Element *>(elements);
    if constexpr (can_compress<Element>) {
      uint64_t row = first / 64 * 64, kept = UINT64_MAX << first % 64;
      // Vectors may reach beyond the rows of a word, but not beyond all of the result.
      for (uint64_t left = dense_rows(stream, rows, first, room); left >= 64 && is_whole(stream, row); row += 64) {
        Element block[64];
        unpack_block<W>(stream.bytes + row / 8 * W, block);
        const Element *end = compress(block, rows[row / 64] & kept, out);
        left -= static_cast<uint64_t>(end - out);
        room -= static_cast<uint32_t>(end - out);
        out += end - out;
        kept = UINT64_MAX;
      }
      first = std::max(first, static_cast<uint32_t>(row));
    }
    return base::filter(stream, rows, first, room, out);
  }

private:
  // The rows of a filter from `first` on, or as many as there is room for; 0 where single rows are faster, all in all
  // or as far as the first words tell.  Codes of whole bytes are soon read.
  static uint64_t dense_rows(const code_stream &stream, const uint64_t *rows, uint64_t first, uint32_t room) {
    constexpr uint64_t worth = lanes::spare == 0 ? 4 + sizeof(Element) : 5; // rows of a word
    constexpr uint64_t first_words = 32;
    uint64_t ones = 0, words = 0, kept = UINT64_MAX << first % 64;
    for (uint64_t row = first / 64 * 64; row < stream.ncodes && ones < room; row += 64, ++words) {
      if (words == first_words && ones < worth * words)
        return 0;
      ones += popcount(rows[row / 64] & kept & low_bits(stream.ncodes - row));
      kept = UINT64_MAX;
    }
    return ones < worth * words ? 0 : std::min<uint64_t>(ones, room);
  }

  // Can the halves of the block of 64 codes from `first` on be loaded whole?
  static bool is_whole(const code_stream &stream, uint64_t first) {
    return first / 8 * W + lanes::block_bytes + lanes::slack <= (stream.ncodes * W + 7) / 8;
  }
};

} // namespace vorn::inline VORN_LEVEL
