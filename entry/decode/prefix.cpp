// The entry that rebuilds prefix-compressed values.  It has no checks and no counters.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_prefix_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  if (vorn_global_ctx.vorn_prefix_decode_dydi == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point call(*ctx, "vorn_prefix_decode");
  call.trace(VORN_POINT(prefix_kernel), call.force_generic());
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  kernel_aux.vorn_aux_ctx = ctx;
  call.start_clock();
  const auto kernel = call.force_generic() ? vorn_prefix_decode_dydi : vorn_global_ctx.vorn_prefix_decode_dydi;
  const uint32_t code = kernel(res, src, &kernel_aux);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows); // groups, not values
  return code;
}
