// The wide bit vectors: vectors of whole 64-bit words.
#include "generic/bitvec/family.hpp"
#include "generic/engine.hpp"

namespace {

using unit = uint64_t;
using bitvec_loops = vorn::engine::bitvec_loops;
using ones_loop = vorn::engine::ones_loop;

constexpr uint64_t end_mark = UINT64_MAX;

} // namespace

namespace vorn::inline VORN_LEVEL {

uint32_t next_ones(vorn_lbiwv_ictx &iterator, uint32_t *out, uint32_t max) {
  return ones_loop::list_ones<uint64_t>(iterator, out, max);
}

uint32_t and_words(uint64_t *dst, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
  return combine_words<uint64_t, bitvec_loops, true>(bit_and, dst, nbits, a, b);
}

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

VORN_DEFINE_BIT_VECTORS(lbiwv, uint64_t)

void vorn_lbiwv_ictx_ini2_dydi(vorn_lbiwv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint8_t mode,
                               uint64_t start) {
  *ictx = vorn::iterator_over(bv, nbits, mode == 1 ? vorn::wanted::clear : vorn::wanted::set, start);
}

VORN_KERNELS_END
