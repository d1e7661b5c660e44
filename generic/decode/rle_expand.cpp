// The kernels that expand run values to row values, and fills of elements.
#include "generic/decode/rle_expand.hpp"

VORN_KERNELS_BEGIN

void vorn_memset_ub1(void *dst, uint32_t value, uint32_t count) { vorn::fill<uint8_t>(dst, value, count); }
void vorn_memset_ub2(void *dst, uint32_t value, uint32_t count) { vorn::fill<uint16_t>(dst, value, count); }
void vorn_memset_ub4(void *dst, uint32_t value, uint32_t count) { vorn::fill<uint32_t>(dst, value, count); }

#define VORN_DEFINE_EXPAND(lens_bits, element, Element)                                                                \
  void vorn_rle##lens_bits##_expand_##element(vorn_cv *res, const vorn_cv *src, const void *lens, uint32_t first,      \
                                              uint32_t trim) {                                                         \
    vorn::expand_runs<Element>(res->vorn_cv_vals, src->vorn_cv_vals, src->vorn_cv_nrows,                               \
                               vorn::run_lengths(lens, lens_bits), first, trim);                                       \
  }
VORN_DEFINE_EXPAND(8, ub1, uint8_t)
VORN_DEFINE_EXPAND(8, ub2, uint16_t)
VORN_DEFINE_EXPAND(8, ub4, uint32_t)
VORN_DEFINE_EXPAND(16, ub1, uint8_t)
VORN_DEFINE_EXPAND(16, ub2, uint16_t)
VORN_DEFINE_EXPAND(16, ub4, uint32_t)

VORN_KERNELS_END
