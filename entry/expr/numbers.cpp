// Sums by group and conversion of numbers.  They check and count nothing, and do not touch the diagnostic code.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" {

uint32_t vorn_gby_sum(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux) {
  if (vorn_global_ctx.vorn_gby_sum_dydi == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point call(*ctx, "vorn_gby_sum");
  call.trace(VORN_POINT(sum_kernel), call.force_generic());
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  aux->vorn_aux_ctx = ctx;
  call.start_clock();
  const auto kernel = call.force_generic() ? vorn_gby_sum_dydi : vorn_global_ctx.vorn_gby_sum_dydi;
  const uint32_t code = kernel(res, src, grp, aux);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows);
  return code;
}

uint32_t vorn_convert(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  if (vorn_global_ctx.vorn_convert_dydi == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point call(*ctx, "vorn_convert");
  call.trace(VORN_POINT(convert_numbers_kernel), call.force_generic());
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  kernel_aux.vorn_aux_ctx = ctx;
  call.start_clock();
  const auto kernel = call.force_generic() ? vorn_convert_dydi : vorn_global_ctx.vorn_convert_dydi;
  const uint32_t code = kernel(res, src, &kernel_aux);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows);
  return code;
}

} // extern "C"
