// Codes to integers: each code to the bottom of a lane that is as wide as an element.  The rows of a filter are
// compressed in a register.
#include "isa/vbmi/passes.hpp"
#include "isa/vbmi/select.hpp"
#include "isa/vbmi/widths.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

template <class Element>
void store_first(Element *out, uint64_t n, __m512i elements) {
  const uint64_t mask = low_bits(n);
  if constexpr (sizeof(Element) == 1)
    _mm512_mask_storeu_epi8(out, mask, elements);
  else if constexpr (sizeof(Element) == 2)
    _mm512_mask_storeu_epi16(out, static_cast<__mmask32>(mask), elements);
  else
    _mm512_mask_storeu_epi32(out, static_cast<__mmask16>(mask), elements);
}

template <class Element>
__m512i compressed(uint64_t mask, __m512i elements) {
  if constexpr (sizeof(Element) == 1)
    return _mm512_maskz_compress_epi8(mask, elements);
  else if constexpr (sizeof(Element) == 2)
    return _mm512_maskz_compress_epi16(static_cast<__mmask32>(mask), elements);
  else
    return _mm512_maskz_compress_epi32(static_cast<__mmask16>(mask), elements);
}

template <unsigned W, class Element>
void unpack_range(const uint8_t *block, uint64_t size, uint32_t n, void *elements) {
  using lanes = code_lanes<W, Element>;
  auto *out = static_cast<Element *>(elements);
  constexpr uint64_t whole = 64 + (lanes::vectors - 1) * lanes::bytes;
  for (; n >= 64 && size >= whole; n -= 64, size -= lanes::block_bytes, block += lanes::block_bytes, out += 64)
    for (unsigned v = 0; v < lanes::vectors; ++v)
      _mm512_storeu_si512(out + v * lanes::codes, lanes::exact(lanes::load(block, v)));
  for (; n != 0; block += lanes::block_bytes) {
    for (unsigned v = 0; v < lanes::vectors && n != 0; ++v) {
      const uint32_t some = std::min(n, lanes::codes);
      store_first(out, some, lanes::exact(lanes::load(block, v, size)));
      out += some;
      n -= some;
    }
    size -= std::min<uint64_t>(size, lanes::block_bytes);
  }
}

template <unsigned W, class Element>
uint32_t unpack_filter(const uint8_t *stream, uint32_t nrows, const uint64_t *filter, uint32_t first, uint32_t &room,
                       void *elements) {
  using lanes = code_lanes<W, Element>;
  auto *out = static_cast<Element *>(elements);
  const uint64_t whole = whole_loads<lanes>(nrows), words = words_of(nrows);
  uint64_t word = first / 64;
  uint64_t from_first = UINT64_MAX << first % 64;
  for (; word < words; ++word, from_first = UINT64_MAX) {
    uint64_t rows = filter[word] & from_first & low_bits(nrows - 64 * word);
    if (rows == 0)
      continue;
    const uint32_t count = popcount(rows);
    if (count > room)
      break;
    room -= count;
    const uint8_t *block = stream + word * lanes::block_bytes;
    const uint64_t left = stream_bytes<lanes>(nrows) - word * lanes::block_bytes;
    const auto write = [&](auto load) {
      for (unsigned v = 0; v < lanes::vectors; ++v) {
        const uint64_t these = lanes::codes == 64 ? rows : rows >> (v * lanes::codes) & low_bits(lanes::codes);
        const uint32_t some = popcount(these);
        store_first(out, some, compressed<Element>(these, lanes::exact(load(v))));
        out += some;
      }
    };
    if (word < whole)
      write([&](unsigned v) { return lanes::load(block, v); });
    else
      write([&](unsigned v) { return lanes::load(block, v, left); });
  }
  return static_cast<uint32_t>(std::max<uint64_t>(first, 64 * word));
}

template <unsigned W>
constexpr vbmi_passes::unpack_passes passes = {unpack_range<W, lane<W>>, unpack_range<W, uint32_t>,
                                               unpack_filter<W, lane<W>>, unpack_filter<W, uint32_t>};

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_passes {

#define VORN_UNPACK(w) out.of[w] = passes<w>;
constexpr by_width<unpack_passes> built = [] {
  by_width<unpack_passes> out = {};
  VORN_CODE_WIDTHS(VORN_UNPACK)
  return out;
}();
constinit const by_width<unpack_passes> unpack = built;

} // namespace vorn::vbmi_passes
