// The wide bit vectors: vectors of whole 64-bit words.  Kernels call these operations directly; the host reaches them
// through the slots of vorn_global_ctx.
#include <bit>
#include <cstdint>

#include "frame/vorn.h"

namespace {

constexpr uint64_t end_mark = UINT64_MAX;

// The next set bit below nbits.  A stray bit behind the vector is the end as well: no word follows the one it is in.
uint64_t next_set(vorn_lbiwv_ictx &it) {
  // Unsigned, so that the step behind a vector of almost 2^31 bits does not overflow.
  const auto nbits = static_cast<uint32_t>(it.vorn_lbiwv_ictx_nbits);
  auto base = static_cast<uint32_t>(it.vorn_lbiwv_ictx_base);
  while (it.vorn_lbiwv_ictx_word == 0) {
    base += base < nbits ? 64 : 0; // an exhausted iterator stays where it is
    it.vorn_lbiwv_ictx_base = static_cast<int32_t>(base);
    if (base >= nbits)
      return end_mark;
    it.vorn_lbiwv_ictx_word = *it.vorn_lbiwv_ictx_next++;
    it.vorn_lbiwv_ictx_offset = 0;
  }
  const uint32_t index = base + static_cast<uint32_t>(std::countr_zero(it.vorn_lbiwv_ictx_word));
  it.vorn_lbiwv_ictx_word &= it.vorn_lbiwv_ictx_word - 1;
  return index < nbits ? index : end_mark;
}

} // namespace

extern "C" {

void vorn_lbiwvand_dydi(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
  const uint64_t nwords = (nbits + 63) / 64;
  uint32_t count = 0;
  for (uint64_t i = 0; i < nwords; ++i) {
    uint64_t word = a[i] & b[i];
    if (i + 1 == nwords && nbits % 64 != 0)
      word &= (uint64_t{1} << nbits % 64) - 1;
    dst[i] = word;
    count += static_cast<uint32_t>(std::popcount(word));
  }
  if (popc != nullptr)
    *popc = count;
}

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

uint64_t vorn_lbiwviter_dydi(vorn_lbiwv_ictx *ictx) { return next_set(*ictx); }

uint32_t vorn_lbiwvones_dydi(vorn_lbiwv_ictx *ictx, uint32_t *out, uint32_t max) {
  vorn_lbiwv_ictx it = *ictx; // in registers: out may alias the context as far as the compiler knows
  uint32_t count = 0;
  while (count < max) {
    const uint64_t index = next_set(it);
    if (index == end_mark)
      break;
    out[count++] = static_cast<uint32_t>(index);
  }
  *ictx = it;
  return count;
}

} // extern "C"
