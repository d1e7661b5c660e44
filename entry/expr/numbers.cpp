// Sums by group and conversion of numbers.  They check and count nothing, and leave the diagnostic code alone.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" {

uint32_t vorn_gby_sum(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux) {
  entry_point here(*ctx, "vorn_gby_sum");
  here.trace(VORN_POINT(sum_kernel), here.force_generic());
  here.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  here.trace_filter(VORN_POINT(filter), aux);
  aux->vorn_aux_ctx = ctx;
  here.start_clock();
  const auto kernel = here.force_generic() ? vorn_gby_sum_dydi : vorn_global_ctx.vorn_gby_sum_dydi;
  const uint32_t code = kernel(res, src, grp, aux);
  here.finish(VORN_POINT(time), src->vorn_cv_nrows);
  return code;
}

uint32_t vorn_convert(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  entry_point here(*ctx, "vorn_convert");
  here.trace(VORN_POINT(convert_numbers_kernel), here.force_generic());
  here.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  here.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &given = aux_or_own(aux, own);
  given.vorn_aux_ctx = ctx;
  here.start_clock();
  const auto kernel = here.force_generic() ? vorn_convert_dydi : vorn_global_ctx.vorn_convert_dydi;
  const uint32_t code = kernel(res, src, &given);
  here.finish(VORN_POINT(time), src->vorn_cv_nrows);
  return code;
}

} // extern "C"
