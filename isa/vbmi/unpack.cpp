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
void unpack_range(const uint8_t *codes, uint32_t n, void *elements) {
  using lanes = code_lanes<W, Element>;
  const code_blocks<lanes> blocks(codes, n);
  auto *out = static_cast<Element *>(elements);
  Element last[64];
  for (uint64_t i = 0; i < blocks.size(); ++i) {
    const uint8_t *block = blocks[i];
    Element *const to = 64 * (i + 1) <= n ? out + 64 * i : last;
    for (unsigned v = 0; v < lanes::vectors; ++v)
      _mm512_storeu_si512(to + v * lanes::codes, lanes::exact(lanes::load(block, v)));
  }
  std::copy_n(last, n % 64, out + n / 64 * 64);
}

template <unsigned W, class Element>
uint32_t unpack_filter(const uint8_t *stream, uint32_t nrows, const uint64_t *filter, uint32_t first, uint32_t &room,
                       void *elements) {
  using lanes = code_lanes<W, Element>;
  const code_blocks<lanes> blocks(stream, nrows);
  auto *out = static_cast<Element *>(elements);
  uint64_t word = first / 64;
  uint64_t from_first = UINT64_MAX << first % 64;
  for (; word < blocks.size(); ++word, from_first = UINT64_MAX) {
    const uint64_t rows = filter[word] & from_first & low_bits(nrows - 64 * word);
    if (rows == 0)
      continue;
    const uint32_t count = popcount(rows);
    if (count > room)
      break;
    room -= count;
    const uint8_t *block = blocks[word];
    for (unsigned v = 0; v < lanes::vectors; ++v) {
      const uint64_t these = rows >> (v * lanes::codes) & low_bits(lanes::codes);
      const uint32_t some = popcount(these);
      store_first(out, some, compressed<Element>(these, lanes::exact(lanes::load(block, v))));
      out += some;
    }
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
