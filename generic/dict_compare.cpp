// The predicate kernels over dictionary codes: 460 slots and their 460 selective twins, which differ in nothing but
// width, operation and form.  The stream of a kernel is reported under the name of its one-sided main kernel.
#include "generic/dict.hpp"
#include "generic/dict_compare.kernels.hpp"
#include "generic/scan.hpp"

using namespace vorn;

extern "C" {

#define VORN_DEFINE_COMPARE(w, op, OP, suffix)                                                                         \
  static uint32_t vorn_##op##_dict_##w##bit##suffix##_selective(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);    \
  static constexpr predicate_kernel kernel_##op##_##w##suffix = {                                                      \
      VORN_OPC_##OP,                                                                                                   \
      #suffix[0] != '\0',                                                                                              \
      VORN_STREAM_TEXTS("vorn_" #op "_dict_" #w "bit" #suffix),                                                        \
      {.binary = vorn_##op##_dict_##w##bit##suffix##_selective}};                                                      \
  uint32_t vorn_##op##_dict_##w##bit##suffix(vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {          \
    return scan<dict<w>>(kernel_##op##_##w##suffix, res, src, cst, cst, aux);                                          \
  }                                                                                                                    \
  uint32_t vorn_##op##_dict_##w##bit##suffix##_selective(vorn_cv *res, vorn_cv *src, const vorn_cv *cst,               \
                                                         vorn_aux *aux) {                                              \
    return scan_selective<dict<w>>(kernel_##op##_##w##suffix, res, src, cst, cst, aux);                                \
  }
VORN_DICT_COMPARE_KERNELS(VORN_DEFINE_COMPARE)

#define VORN_DEFINE_RANGE(w, op, OP, first, suffix)                                                                    \
  static uint32_t vorn_##op##_dict_##w##bit##suffix##_selective(vorn_cv *, vorn_cv *, const vorn_cv *,                 \
                                                                const vorn_cv *, vorn_aux *);                          \
  static constexpr predicate_kernel kernel_##op##_##w##suffix = {                                                      \
      VORN_OPC_##OP,                                                                                                   \
      #suffix[0] != '\0',                                                                                              \
      VORN_STREAM_TEXTS("vorn_" #first "_dict_" #w "bit" #suffix),                                                     \
      {.ternary = vorn_##op##_dict_##w##bit##suffix##_selective}};                                                     \
  uint32_t vorn_##op##_dict_##w##bit##suffix(vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,         \
                                             vorn_aux *aux) {                                                          \
    return scan<dict<w>>(kernel_##op##_##w##suffix, res, src, lo, hi, aux);                                            \
  }                                                                                                                    \
  uint32_t vorn_##op##_dict_##w##bit##suffix##_selective(vorn_cv *res, vorn_cv *src, const vorn_cv *lo,                \
                                                         const vorn_cv *hi, vorn_aux *aux) {                           \
    return scan_selective<dict<w>>(kernel_##op##_##w##suffix, res, src, lo, hi, aux);                                  \
  }
VORN_DICT_RANGE_KERNELS(VORN_DEFINE_RANGE)

} // extern "C"
