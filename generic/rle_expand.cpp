#include "generic/rle_expand.hpp"

#include <algorithm>

#include "generic/rle_lengths.hpp"

namespace vorn {

namespace {

template <class Element>
Element *fill(void *dst, uint32_t value, uint32_t count) {
  return std::fill_n(static_cast<Element *>(dst), count, static_cast<Element>(value));
}

template <class Length, class Element>
void expand(vorn_cv *res, const vorn_cv *src, const void *lens, uint32_t first, uint32_t trim) {
  const run_lengths<Length> lengths(lens);
  const auto *values = static_cast<const Element *>(src->vorn_cv_vals);
  auto *out = static_cast<Element *>(res->vorn_cv_vals);
  const uint32_t last = src->vorn_cv_nrows - 1;
  uint32_t count = first;
  for (uint32_t run = 0; run < last; ++run) {
    out = fill<Element>(out, values[run], count);
    count = lengths[uint64_t{run} + 1];
  }
  fill<Element>(out, values[last], count - trim);
}

} // namespace

} // namespace vorn

extern "C" {

void vorn_memset_ub1(void *dst, uint32_t value, uint32_t count) { vorn::fill<uint8_t>(dst, value, count); }
void vorn_memset_ub2(void *dst, uint32_t value, uint32_t count) { vorn::fill<uint16_t>(dst, value, count); }
void vorn_memset_ub4(void *dst, uint32_t value, uint32_t count) { vorn::fill<uint32_t>(dst, value, count); }

#define VORN_DEFINE_EXPAND(lens_bits, Length, element, Element)                                                        \
  void vorn_rle##lens_bits##_expand_##element(vorn_cv *res, const vorn_cv *src, const void *lens, uint32_t first,      \
                                              uint32_t trim) {                                                         \
    vorn::expand<Length, Element>(res, src, lens, first, trim);                                                        \
  }
VORN_DEFINE_EXPAND(8, uint8_t, ub1, uint8_t)
VORN_DEFINE_EXPAND(8, uint8_t, ub2, uint16_t)
VORN_DEFINE_EXPAND(8, uint8_t, ub4, uint32_t)
VORN_DEFINE_EXPAND(16, uint16_t, ub1, uint8_t)
VORN_DEFINE_EXPAND(16, uint16_t, ub2, uint16_t)
VORN_DEFINE_EXPAND(16, uint16_t, ub4, uint32_t)

} // extern "C"
