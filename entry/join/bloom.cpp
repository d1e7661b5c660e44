// The bloom test.  Its kernel is a slot of the record, and its self-check knows more of a result than others.
#include "frame/entry_point.hpp"
#include "frame/row_check.hpp"

using namespace vorn;

namespace {

constexpr row_check_texts check_texts = {"vorn_bloom: res_generic_bv", "vorn_bloom: vxl check result",
                                         "vorn_bloom: vxl check popcount", "vorn_bloom: vxl check range"};

uint32_t self_check(const vorn_ctx &ctx, vorn_cv &res, vorn_cv &src, vorn_cv &filter, vorn_aux &aux) {
  row_check check(ctx, src.vorn_cv_nrows, check_texts);
  const uint32_t generic_code = vorn_bloom_dydi(&check.expected(), &src, &filter, &aux);
  const uint32_t code = vorn_global_ctx.vorn_bloom_dydi(&res, &src, &filter, &aux);
  // Kernels that refuse their operands write nothing that could be compared.
  if (generic_code != VORN_RESULT_REFUSED || code != VORN_RESULT_REFUSED)
    check.compare(res, &filter);
  check.release();
  return code;
}

} // namespace

extern "C" uint32_t vorn_bloom(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux) {
  const vorn_global_ctx_t &global = vorn_global_ctx;
  if (global.vorn_bloom_dydi == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  entry_point here(*ctx, "vorn_bloom");
  here.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_bloom: res is not aligned");
  if (aux != nullptr)
    here.check_aligned(aux->vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN, "vorn_bloom: aux bv is not aligned");
  here.drop_filter_over_runs(*src, aux);

  here.trace(VORN_POINT(bloom_kernel), here.force_generic());
  here.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  here.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &given = aux_or_own(aux, own);
  here.prepare(given, operations::bloom);
  if (given.vorn_aux_filter_bv != nullptr)
    set(given, operations::bloom.selective);
  here.start_clock();
  const uint32_t code = here.force_generic()    ? vorn_bloom_dydi(res, src, filter, &given)
                        : here.has_self_check() ? self_check(*ctx, *res, *src, *filter, given)
                                                : global.vorn_bloom_dydi(res, src, filter, &given);
  here.trace_diagnostic(VORN_POINT(diagnostic), given);
  here.count(given, operations::bloom);
  here.finish(VORN_POINT(time), src->vorn_cv_nrows);
  return code;
}
