// The bloom test.  Its kernel is a slot of the record, and its self-check knows more of a result than others.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

// The first and the last row that passed.
struct row_range {
  uint32_t first = UINT32_MAX;
  uint32_t last = UINT32_MAX;
};

uint32_t self_check(const vorn_ctx &ctx, vorn_cv &res, vorn_cv &src, vorn_cv &filter, vorn_aux &aux) {
  const uint32_t nrows = src.vorn_cv_nrows;
  const uint64_t size = (uint64_t{nrows} + 63) / 64 * sizeof(uint64_t);
  void *token = nullptr;
  void *scratch = vornu_stack_alloc_align(ctx.vorn_ctx_env, size, "vorn_bloom: res_generic_bv",
                                          vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN,
                                          vorn_global_ctx.vorn_global_ctx_pad_output, &token);
  std::memset(scratch, 0, size);
  row_range expected_rows;
  vorn_cv expected = {};
  vorn_build_vector(&expected, &expected_rows, nullptr, nullptr, nullptr, nullptr, static_cast<uint64_t *>(scratch),
                    nrows, 0, nullptr, 0);
  const uint32_t generic_code = vorn_bloom_dydi(&expected, &src, &filter, &aux);
  const uint32_t code = vorn_global_ctx.vorn_bloom_dydi(&res, &src, &filter, &aux);
  // Kernels that refuse their operands write nothing that could be compared.
  if (generic_code != VORN_RESULT_REFUSED || code != VORN_RESULT_REFUSED) {
    if (vornt_compare_res(0, expected.vorn_cv_bv, res.vorn_cv_bv, nrows) == 0)
      raise(ctx, "vorn_bloom: vxl check result", nrows, &filter);
    if (expected.vorn_cv_popc != res.vorn_cv_popc)
      raise(ctx, "vorn_bloom: vxl check popcount", expected.vorn_cv_popc, res.vorn_cv_popc);
    row_range rows;
    std::memcpy(&rows, res.vorn_cv_vals, sizeof rows);
    if (expected_rows.first != rows.first || expected_rows.last != rows.last)
      raise(ctx, "vorn_bloom: vxl check range", expected_rows.first, expected_rows.last, rows.first, rows.last);
  }
  vornu_stack_free_align(ctx.vorn_ctx_env, scratch, token);
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
