// The wide bit vectors: vectors of whole 64-bit words.  Kernels call these operations directly; the host reaches them
// through the slots of vorn_global_ctx.
#include "bitvec/combine.hpp"
#include "bitvec/iterate.hpp"
#include "frame/vorn.h"

using vorn::wanted;

namespace {

using unit = uint64_t;

constexpr uint64_t end_mark = UINT64_MAX;

} // namespace

extern "C" {

void vorn_lbiwvpopcnt_dydi(uint32_t *popc, const uint64_t *bv, uint64_t nbits) {
  vorn::count_ones<unit>(popc, bv, nbits);
}

void vorn_lbiwvnot_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *src, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_not, dst, popc, nbits, src);
}

void vorn_lbiwvand_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_and, dst, popc, nbits, a, b);
}

void vorn_lbiwvor_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_or, dst, popc, nbits, a, b);
}

void vorn_lbiwvxor_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_xor, dst, popc, nbits, a, b);
}

void vorn_lbiwvandnot_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_andnot, dst, popc, nbits, a, b);
}

void vorn_lbiwvand3_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                         uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_and, dst, popc, nbits, a, b, c);
}

void vorn_lbiwvor3_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                        uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_or, dst, popc, nbits, a, b, c);
}

void vorn_lbiwvxor3_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                         uint64_t nbits) {
  vorn::combine<unit>(vorn::bit_xor, dst, popc, nbits, a, b, c);
}

void vorn_lbiwvset_range_dydi(uint64_t *bv, uint64_t first, uint64_t last) { vorn::fill_range<true>(bv, first, last); }

void vorn_lbiwvclr_range_dydi(uint64_t *bv, uint64_t first, uint64_t last) { vorn::fill_range<false>(bv, first, last); }

// An iterator over no bits, or started behind the last stored word, loads nothing and is at its end.
void vorn_lbiwv_ictx_ini2_dydi(vorn_lbiwv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint8_t mode,
                               uint64_t start) {
  const uint64_t index = start / 64;
  ictx->vorn_lbiwv_ictx_next = bv + index + 1;
  ictx->vorn_lbiwv_ictx_nbits = static_cast<int32_t>(nbits);
  ictx->vorn_lbiwv_ictx_base = static_cast<int32_t>(index * 64);
  ictx->vorn_lbiwv_ictx_offset = start % 64;
  ictx->vorn_lbiwv_ictx_word = 0;
  if (index * 64 < nbits) {
    const uint64_t word = mode == 1 ? ~bv[index] : bv[index];
    ictx->vorn_lbiwv_ictx_word = word & UINT64_MAX << start % 64;
  }
}

uint64_t vorn_lbiwviter_dydi(vorn_lbiwv_ictx *ictx) { return vorn::next_bit<unit, wanted::set>(*ictx, end_mark); }

uint64_t vorn_lbiwviter_clr_dydi(vorn_lbiwv_ictx *ictx) { return vorn::next_bit<unit, wanted::clear>(*ictx, end_mark); }

uint32_t vorn_lbiwvones_dydi(vorn_lbiwv_ictx *ictx, uint32_t *out, uint32_t max) {
  return vorn::list_ones<unit>(*ictx, out, max);
}

uint64_t vorn_lbiwvrun_dydi(uint64_t, uint64_t) { return end_mark; }

uint64_t vorn_lbiwvruns_dydi(uint64_t, uint64_t, uint64_t, uint64_t) { return 0; }

} // extern "C"
