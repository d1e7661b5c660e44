// The kernel of sums by group.
#include "generic/expr/sum.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_gby_sum_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *) {
  using namespace vorn::expr;
  switch (src->vorn_cv_encoding_context->vorn_enc_ctx_num_type) {
  case VORN_NUM_FLOAT:
    return sum_floats<float>(*res, *src, grp);
  case VORN_NUM_DOUBLE:
    return sum_floats<double>(*res, *src, grp);
  case VORN_NUM_DSB:
    return sum_dsb(*res, *src, grp);
  default:
    return VORN_RESULT_NO_IMPLEMENTATION;
  }
}

VORN_KERNELS_END
