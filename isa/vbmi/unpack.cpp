// Codes to integers: each code to the bottom of a lane that is as wide as an element.  The rows of a filter are
// compressed in a register.
#include "isa/vbmi/kernels.hpp"
#include "isa/vbmi/select.hpp"

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

// Calls call(element, lanes) for codes of a width as elements of a size.
template <class Call>
auto with_elements(unsigned width, unsigned size, Call call) {
  if (size == 4)
    return width % 8 == 0 ? call(uint32_t{}, code_lanes<uint32_t, true, place::bottom>(width))
                          : call(uint32_t{}, code_lanes<uint32_t, false, place::bottom>(width));
  if (size == 2)
    return width == 16 ? call(uint16_t{}, code_lanes<uint16_t, true, place::bottom>(width))
                       : call(uint16_t{}, code_lanes<uint16_t, false, place::bottom>(width));
  return width == 8 ? call(uint8_t{}, code_lanes<uint8_t, true, place::bottom>(width))
                    : call(uint8_t{}, code_lanes<uint8_t, false, place::bottom>(width));
}

template <class Element, class Lanes>
void unpack(Lanes lanes, const uint8_t *codes, uint32_t n, Element *out) {
  const code_blocks<Lanes> blocks(lanes, codes, n);
  Element last[64];
  for (uint64_t i = 0; i < blocks.size(); ++i) {
    const uint8_t *block = blocks[i];
    Element *const to = 64 * (i + 1) <= n ? out + 64 * i : last;
    for (unsigned v = 0; v < Lanes::vectors; ++v)
      _mm512_storeu_si512(to + v * Lanes::codes, lanes.numbers(lanes.load(block, v)));
  }
  std::copy_n(last, n % 64, out + n / 64 * 64);
}

template <class Element, class Lanes>
uint32_t unpack(Lanes lanes, const uint8_t *stream, uint32_t nrows, const uint64_t *filter, uint32_t first,
                uint32_t &room, Element *out) {
  const code_blocks<Lanes> blocks(lanes, stream, nrows);
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
    for (unsigned v = 0; v < Lanes::vectors; ++v) {
      const uint64_t these = rows >> (v * Lanes::codes) & low_bits(Lanes::codes);
      const uint32_t some = popcount(these);
      store_first(out, some, compressed<Element>(these, lanes.numbers(lanes.load(block, v))));
      out += some;
    }
  }
  return static_cast<uint32_t>(std::max<uint64_t>(first, 64 * word));
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_kernels {

void unpack_range(unsigned width, unsigned size, const uint8_t *codes, uint32_t n, void *elements) {
  with_elements(width, size, [&]<class Element>(Element /*element*/, auto lanes) {
    unpack(lanes, codes, n, static_cast<Element *>(elements));
  });
}

uint32_t unpack_filter(unsigned width, unsigned size, const uint8_t *stream, uint32_t nrows, const uint64_t *filter,
                       uint32_t first, uint32_t &room, void *elements) {
  return with_elements(width, size, [&]<class Element>(Element /*element*/, auto lanes) {
    return unpack(lanes, stream, nrows, filter, first, room, static_cast<Element *>(elements));
  });
}

} // namespace vorn::vbmi_kernels
