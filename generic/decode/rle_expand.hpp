// Expands run values to row values, for the decoders over runs.
#pragma once

#include <algorithm>

#include "frame/vorn.h"
#include "generic/decode/rle_lengths.hpp"

namespace vorn::inline VORN_LEVEL {

template <class Element>
inline Element *fill(void *dst, uint32_t value, uint32_t count) {
  return std::fill_n(static_cast<Element *>(dst), count, static_cast<Element>(value));
}

// Expands the values of nruns >= 1 runs to rows.  The first run gives `first` elements, and its length is not read.
// Each other run gives as many elements as its length says, and the last run gives `trim` fewer.  Reads and writes run
// forward, so the values may lie in the tail of the output itself.
template <class Element>
[[gnu::noinline]] inline void expand_runs(void *out, const void *values, uint32_t nruns, run_lengths lengths,
                                          uint32_t first, uint32_t trim) {
  lengths.over([=](auto length) {
    const auto *value = static_cast<const Element *>(values);
    auto *next = static_cast<Element *>(out);
    const uint32_t last = nruns - 1;
    uint32_t count = first;
    for (uint32_t run = 0; run < last; ++run) {
      next = fill<Element>(next, value[run], count);
      count = length(uint64_t{run} + 1);
    }
    fill<Element>(next, value[last], count - trim);
  });
}

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

// Fill count elements of 1, 2 or 4 bytes with the low bits of value, in the byte order of the processor.
void vorn_memset_ub1(void *dst, uint32_t value, uint32_t count);
void vorn_memset_ub2(void *dst, uint32_t value, uint32_t count);
void vorn_memset_ub4(void *dst, uint32_t value, uint32_t count);

// Calls expand_runs for the vorn_cv_nrows values of src and writes to vorn_cv_vals of res.  lens points to the length
// of the first run.
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
