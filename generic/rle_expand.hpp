// Run values to row values, for the decoders over runs.
#pragma once

#include "frame/vorn.h"

extern "C" {

// Fill count elements of 1, 2 or 4 bytes with the low bits of value, in the processor's order.
void vorn_memset_ub1(void *dst, uint32_t value, uint32_t count);
void vorn_memset_ub2(void *dst, uint32_t value, uint32_t count);
void vorn_memset_ub4(void *dst, uint32_t value, uint32_t count);

// Expand the vorn_cv_nrows >= 1 run values of src into vorn_cv_vals of res.  The first run gives `first` elements, the
// others as many as their lengths say, the last one `trim` fewer.  lens is the length of the first run, which is not
// read.  Everything runs forward, so that the run values may lie in the tail of the output itself.
#define VORN_DECLARE_EXPAND(lens_bits, element)                                                                        \
  void vorn_rle##lens_bits##_expand_##element(vorn_cv *res, const vorn_cv *src, const void *lens, uint32_t first,      \
                                              uint32_t trim);
VORN_DECLARE_EXPAND(8, ub1)
VORN_DECLARE_EXPAND(8, ub2)
VORN_DECLARE_EXPAND(8, ub4)
VORN_DECLARE_EXPAND(16, ub1)
VORN_DECLARE_EXPAND(16, ub2)
VORN_DECLARE_EXPAND(16, ub4)

} // extern "C"
