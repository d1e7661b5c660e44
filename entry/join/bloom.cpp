// The bloom test.  Its kernel is a slot of the record, and its self-check compares the range of rows as well.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts check_texts = {"vorn_bloom: res_generic_bv", "vorn_bloom: vxl check popcount",
                                          "vorn_bloom: vxl check result", "vorn_bloom: vxl check range"};

} // namespace

extern "C" uint32_t vorn_bloom(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux) {
  const vorn_global_ctx_t &global = vorn_global_ctx;
  if (global.vorn_bloom_dydi == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point call(*ctx, "vorn_bloom");
  call.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_bloom: res is not aligned");
  if (aux != nullptr)
    call.check_aligned(aux->vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN, "vorn_bloom: aux bv is not aligned");
  call.drop_filter_over_runs(*src, aux);

  call.trace(VORN_POINT(bloom_kernel), call.force_generic());
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.prepare(kernel_aux, operations::bloom);
  if (kernel_aux.vorn_aux_filter_bv != nullptr)
    set(kernel_aux, operations::bloom.selective);
  call.start_clock();
  const auto invoke = [&](auto kernel, vorn_cv &result) { return kernel(&result, src, filter, &kernel_aux); };
  const uint32_t code = call.has_self_check()
                            ? call.run_both({check_texts, src->vorn_cv_nrows, nullptr, filter}, *res, &vorn_bloom_dydi,
                                            global.vorn_bloom_dydi, invoke)
                            : invoke(call.force_generic() ? vorn_bloom_dydi : global.vorn_bloom_dydi, *res);
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::bloom);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows);
  return code;
}
