// Run values to row values, for the decoders over runs.
#pragma once

#include <algorithm>

#include "frame/vorn.h"
#include "generic/decode/rle_lengths.hpp"

namespace vorn::inline VORN_LEVEL {

template <class Element>
inline Element *fill(void *dst, uint32_t value, uint32_t count) {
  return std::fill_n(static_cast<Element *>(dst), count, static_cast<Element>(value));
}

// Expands the nruns >= 1 values to rows.  The first run gives `first` elements, the others as many as their lengths
// say, the last one `trim` fewer; the length of the first run is not read.  Everything runs forward, so that the values
// may lie in the tail of the output itself.
template <class Element>
[[gnu::noinline]] inline void expand_runs(void *out, const void *values, uint32_t nruns, run_lengths lengths,
                                          uint32_t first, uint32_t trim) {
  lengths.over([=](auto length) {
    const auto *value = static_cast<const Element *>(values);
    auto *place = static_cast<Element *>(out);
    const uint32_t last = nruns - 1;
    uint32_t count = first;
    for (uint32_t run = 0; run < last; ++run) {
      place = fill<Element>(place, value[run], count);
      count = length(uint64_t{run} + 1);
    }
    fill<Element>(place, value[last], count - trim);
  });
}

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

// Fill count elements of 1, 2 or 4 bytes with the low bits of value, in the processor's order.
void vorn_memset_ub1(void *dst, uint32_t value, uint32_t count);
void vorn_memset_ub2(void *dst, uint32_t value, uint32_t count);
void vorn_memset_ub4(void *dst, uint32_t value, uint32_t count);

// expand_runs of the vorn_cv_nrows values of src into vorn_cv_vals of res.  lens is the length of the first run.
#define VORN_DECLARE_EXPAND(lens_bits, element)                                                                        \
  void vorn_rle##lens_bits##_expand_##element(vorn_cv *res, const vorn_cv *src, const void *lens, uint32_t first,      \
                                              uint32_t trim);
VORN_DECLARE_EXPAND(8, ub1)
VORN_DECLARE_EXPAND(8, ub2)
VORN_DECLARE_EXPAND(8, ub4)
VORN_DECLARE_EXPAND(16, ub1)
VORN_DECLARE_EXPAND(16, ub2)
VORN_DECLARE_EXPAND(16, ub4)

VORN_KERNELS_END
