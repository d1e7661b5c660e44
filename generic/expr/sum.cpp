// The sums by group, and the conversion of canonical numbers.
#include "generic/expr/sum.hpp"
#include "generic/table/record.hpp"

using namespace vorn;
using pass = ordered_sums;

VORN_KERNELS_BEGIN

#define VORN_DEFINE_SUM(name, ...)                                                                                     \
  static uint32_t vorn_gby_sum_##name(vorn_cv *res, vorn_cv *src, vorn_cv *grp) { return __VA_ARGS__(*res, *src, grp); }
VORN_DEFINE_SUM(float_native, sum<pass, native_numbers<float>>)
VORN_DEFINE_SUM(float_canonical, sum<pass, canonical_numbers<float>>)
VORN_DEFINE_SUM(double_native, sum<pass, native_numbers<double>>)
VORN_DEFINE_SUM(double_canonical, sum<pass, canonical_numbers<double>>)
VORN_DEFINE_SUM(dsb, sum_dsb<pass>)

uint32_t vorn_gby_sum_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const bool native = enc.vorn_enc_ctx_flags & VORN_NATIVE;
  switch (enc.vorn_enc_ctx_num_type) {
  case VORN_NUM_FLOAT:
    return native ? vorn_gby_sum_float_native(res, src, grp) : vorn_gby_sum_float_canonical(res, src, grp);
  case VORN_NUM_DOUBLE:
    return native ? vorn_gby_sum_double_native(res, src, grp) : vorn_gby_sum_double_canonical(res, src, grp);
  case VORN_NUM_DSB:
    return vorn_gby_sum_dsb(res, src, grp);
  default:
    return VORN_RESULT_NO_IMPLEMENTATION;
  }
}

VORN_KERNELS_END
