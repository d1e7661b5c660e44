// The bit vectors of bytes: they begin at any address, and nothing behind their last byte is written.
#include "bitvec/combine.hpp"
#include "bitvec/iterate.hpp"
#include "frame/vorn.h"

using vorn::wanted;

namespace {

using unit = uint8_t;

constexpr uint64_t end_mark = UINT32_MAX;

// The bytes from `from` to the end of its aligned group of 8, in their places in the group.  Those behind the vector
// are on the same page and in the same cache line as those of the vector, and no bit of them is delivered.
[[gnu::no_sanitize_address]] uint64_t rest_of_group(const uint8_t *from, unsigned place) {
  uint64_t word = 0;
  for (; place < sizeof word; ++place)
    word |= uint64_t{*from++} << 8 * place;
  return word;
}

} // namespace

extern "C" {

void vorn_lbivpopcnt_dydi(uint32_t *popc, const void *bv, uint64_t nbits) { vorn::count_ones<unit>(popc, bv, nbits); }

void vorn_lbivnot_dydi(void *dst, uint32_t *popc, const void *src, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_not, dst, popc, nbits, src);
}

void vorn_lbivand_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_and, dst, popc, nbits, a, b);
}

void vorn_lbivor_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_or, dst, popc, nbits, a, b);
}

void vorn_lbivxor_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_xor, dst, popc, nbits, a, b);
}

void vorn_lbivandnot_dydi(void *dst, uint32_t *popc, const void *a, const void *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_andnot, dst, popc, nbits, a, b);
}

void vorn_lbivand3_dydi(void *dst, uint32_t *popc, const void *a, const void *b, const void *c, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_and, dst, popc, nbits, a, b, c);
}

void vorn_lbivor3_dydi(void *dst, uint32_t *popc, const void *a, const void *b, const void *c, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_or, dst, popc, nbits, a, b, c);
}

void vorn_lbivxor3_dydi(void *dst, uint32_t *popc, const void *a, const void *b, const void *c, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_xor, dst, popc, nbits, a, b, c);
}

void vorn_lbivset_range_dydi(void *bv, uint64_t first, uint64_t last) { vorn::fill_range<true>(bv, first, last); }

void vorn_lbivclr_range_dydi(void *bv, uint64_t first, uint64_t last) { vorn::fill_range<false>(bv, first, last); }

// The first word is an aligned group, which may begin before the vector: base is negative then.  The bytes before the
// start are not read.  An iterator started behind the last byte loads nothing and is at its end.
void vorn_lbiv_ictx_ini2_dydi(vorn_lbiv_ictx *ictx, const void *bv, uint64_t nbits, uint8_t mode, uint64_t start) {
  const auto *const from = static_cast<const uint8_t *>(bv) + start / 8;
  const auto place = static_cast<unsigned>(reinterpret_cast<uintptr_t>(from) % sizeof(uint64_t));
  ictx->vorn_lbiv_ictx_next = reinterpret_cast<const uint64_t *>(from + (sizeof(uint64_t) - place));
  ictx->vorn_lbiv_ictx_nbits = static_cast<int32_t>(nbits);
  ictx->vorn_lbiv_ictx_base = static_cast<int32_t>(start / 8 * 8 - 8 * place);
  ictx->vorn_lbiv_ictx_offset = start % 8 + 8 * place;
  ictx->vorn_lbiv_ictx_word = 0;
  if (start / 8 * 8 < nbits) {
    const uint64_t word = rest_of_group(from, place);
    ictx->vorn_lbiv_ictx_word = (mode == 1 ? ~word : word) & UINT64_MAX << ictx->vorn_lbiv_ictx_offset;
  }
}

uint64_t vorn_lbiviter_dydi(vorn_lbiv_ictx *ictx) { return vorn::next_bit<unit, wanted::set>(*ictx, end_mark); }

uint64_t vorn_lbiviter_clr_dydi(vorn_lbiv_ictx *ictx) { return vorn::next_bit<unit, wanted::clear>(*ictx, end_mark); }

uint32_t vorn_lbivones_dydi(vorn_lbiv_ictx *ictx, uint32_t *out, uint32_t max) {
  return vorn::list_ones<unit>(*ictx, out, max);
}

uint64_t vorn_lbivrun_dydi(uint64_t, uint64_t) { return end_mark; }

uint64_t vorn_lbivruns_dydi(uint64_t, uint64_t, uint64_t, uint64_t) { return 0; }

} // extern "C"
