// The ones of words: their number and their positions.
#include "isa/vbmi/kernels.hpp"
#include "isa/vbmi/select.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

constexpr byte_indices positions = [] {
  byte_indices out = {};
  for (unsigned i = 0; i < 64; ++i)
    out[i] = static_cast<uint8_t>(i);
  return out;
}();

// The positions of the ones of a word are a compression of all positions.  16 of them at a time become numbers of 32
// bits.
void list_word(uint64_t word, uint32_t base, uint32_t *out, uint32_t count) {
  alignas(64) uint8_t listed[64];
  _mm512_store_si512(listed, _mm512_maskz_compress_epi8(word, load_vector(positions)));
  const __m512i first = _mm512_set1_epi32(static_cast<int>(base));
  const uint64_t mask = low_bits(count);
  for (unsigned i = 0; i < count; i += 16) {
    const __m512i some = _mm512_cvtepu8_epi32(_mm_load_si128(reinterpret_cast<const __m128i *>(listed + i)));
    _mm512_mask_storeu_epi32(out + i, static_cast<__mmask16>(mask >> i), _mm512_add_epi32(some, first));
  }
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_kernels {

uint32_t count_ones(const void *words, uint64_t nwords) { return ones_of(words, nwords); }

uint64_t list_ones(const uint64_t *words, uint64_t nwords, uint32_t base, uint32_t *out, uint32_t &room) {
  uint64_t i = 0;
  uint32_t *next = out;
  uint32_t left = room;
  for (; i < nwords && left != 0; ++i, base += 64) {
    uint64_t word = get_word(words, i);
    const uint32_t count = popcount(word);
    if (count > left)
      break;
    if (count <= 4) { // a few are listed faster one by one
      for (uint32_t k = 0; k < count; ++k, word &= word - 1)
        next[k] = base + static_cast<uint32_t>(__builtin_ctzll(word));
    } else {
      list_word(word, base, next, count);
    }
    next += count;
    left -= count;
  }
  room = left;
  return i;
}

} // namespace vorn::vbmi_kernels
