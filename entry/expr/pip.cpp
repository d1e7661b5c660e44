// Point in polygon.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_spatial_pip(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px,
                                     vorn_cv *py, vorn_aux *aux) {
  if (vorn_global_ctx.vorn_spatial_pip_dydi == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point call(*ctx, "vorn_spatial_pip");
  call.trace(VORN_POINT(pip_kernel), call.force_generic());
  call.trace_call(VORN_POINT(rows), xs->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.prepare(kernel_aux);
  call.start_clock();
  const auto kernel = call.force_generic() ? vorn_spatial_pip_dydi : vorn_global_ctx.vorn_spatial_pip_dydi;
  const uint32_t code = kernel(res, xs, ys, px, py, &kernel_aux);
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.finish(VORN_POINT(time), xs->vorn_cv_nrows);
  return code;
}
