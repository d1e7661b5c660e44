// Expands a list of predicates to kernels.  Each entry becomes the named kernel, its selective twin, and the
// description that both pass to the scans.  A kernel reports its stream under the name of its one-sided main kernel.
//
// A source that uses these macros defines its rows:
//
//     template <unsigned W, bool Flag> struct row_form { using reader = ...; static constexpr bool nulls = ...; };
#pragma once

#include "generic/families.hpp"
#include "generic/scan/scan.hpp"

#define VORN_FLAG_OF(suffix) (#suffix[0] != '\0')

#define VORN_DEFINE_COMPARE(op, OP, enc, ENC, w, suffix)                                                               \
  static uint32_t vorn_##op##_##enc##_##w##bit##suffix##_selective(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *); \
  static constexpr vorn::compare_kernel kernel_##op##_##w##suffix = {                                                  \
      VORN_OPC_##OP,                                                                                                   \
      row_form<w, VORN_FLAG_OF(suffix)>::nulls,                                                                        \
      VORN_STREAM_TEXTS("vorn_" #op "_" #enc "_" #w "bit" #suffix),                                                    \
      {.binary = vorn_##op##_##enc##_##w##bit##suffix##_selective}};                                                   \
  uint32_t vorn_##op##_##enc##_##w##bit##suffix(vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {       \
    return vorn::scan<row_form<w, VORN_FLAG_OF(suffix)>::reader>(kernel_##op##_##w##suffix, res, src, cst, cst, aux);  \
  }                                                                                                                    \
  uint32_t vorn_##op##_##enc##_##w##bit##suffix##_selective(vorn_cv *res, vorn_cv *src, const vorn_cv *cst,            \
                                                            vorn_aux *aux) {                                           \
    return vorn::scan_selective<row_form<w, VORN_FLAG_OF(suffix)>::reader>(kernel_##op##_##w##suffix, res, src, cst,   \
                                                                           cst, aux);                                  \
  }

#define VORN_DEFINE_RANGE(op, OP, enc, ENC, w, suffix, first)                                                          \
  static uint32_t vorn_##op##_##enc##_##w##bit##suffix##_selective(vorn_cv *, vorn_cv *, const vorn_cv *,              \
                                                                   const vorn_cv *, vorn_aux *);                       \
  static constexpr vorn::compare_kernel kernel_##op##_##w##suffix = {                                                  \
      VORN_OPC_##OP,                                                                                                   \
      row_form<w, VORN_FLAG_OF(suffix)>::nulls,                                                                        \
      VORN_STREAM_TEXTS("vorn_" #first "_" #enc "_" #w "bit" #suffix),                                                 \
      {.ternary = vorn_##op##_##enc##_##w##bit##suffix##_selective}};                                                  \
  uint32_t vorn_##op##_##enc##_##w##bit##suffix(vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,      \
                                                vorn_aux *aux) {                                                       \
    return vorn::scan<row_form<w, VORN_FLAG_OF(suffix)>::reader>(kernel_##op##_##w##suffix, res, src, lo, hi, aux);    \
  }                                                                                                                    \
  uint32_t vorn_##op##_##enc##_##w##bit##suffix##_selective(vorn_cv *res, vorn_cv *src, const vorn_cv *lo,             \
                                                            const vorn_cv *hi, vorn_aux *aux) {                        \
    return vorn::scan_selective<row_form<w, VORN_FLAG_OF(suffix)>::reader>(kernel_##op##_##w##suffix, res, src, lo,    \
                                                                           hi, aux);                                   \
  }
