// The entry that rebuilds prefix-compressed values.  It has no checks, and no counter knows it.
#include "frame/call.hpp"

using namespace vorn;

extern "C" uint32_t vorn_prefix_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  constexpr const char *entry = "vorn_prefix_decode";
  timing timer(*ctx, VORN_SITE(entry));
  VORN_TRACE(*ctx, trace_kernel, entry, "vorn_prefix_decode force_generic: %d\n", force_generic(*ctx));
  VORN_TRACE_ROWS(*ctx, entry, src->vorn_cv_nrows);
  vorn_aux local = {};
  if (aux != nullptr)
    VORN_TRACE_FILTER(*ctx, entry, *aux);
  else
    aux = &local;

  aux->vorn_aux_ctx = ctx;
  timer.start();
  const uint32_t code = force_generic(*ctx) ? vorn_prefix_decode_dydi(res, src, aux)
                                            : vorn_global_ctx.vorn_prefix_decode_dydi(res, src, aux);
  if (timer) {
    const timing::result measured = timer.stop(src->vorn_cv_nrows); // groups, not values
    VORN_TRACE_TIME(*ctx, entry, measured);
  }
  return code;
}
