// Entries of operations without an implementation.  Their calls are traced and timed like others.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

uint32_t run(const vorn_ctx &ctx, const char *name, const vorn_cv &src, vorn_aux &aux) {
  entry_point call(ctx, name);
  call.trace(VORN_POINT(kernel_alone), name, call.force_generic());
  call.trace_call(VORN_POINT(rows), src.vorn_cv_nrows);
  call.prepare(aux);
  call.start_clock();
  call.finish(VORN_POINT(time), src.vorn_cv_nrows);
  return VORN_RESULT_NO_IMPLEMENTATION;
}

} // namespace

extern "C" {

uint32_t vorn_dk_create(const vorn_ctx *ctx, const void *, const void *, const void *, const vorn_cv *src, const void *,
                        const void *, vorn_aux *aux) {
  return run(*ctx, "vorn_dk_create", *src, *aux);
}

uint32_t vorn_compare(const vorn_ctx *ctx, const void *, const vorn_cv *src, const void *, vorn_aux *aux) {
  return run(*ctx, "vorn_compare", *src, *aux);
}

} // extern "C"
