// The comparisons with two constants: vorn_range_cmp and its four wrappers.
#include "frame/call.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts self_check = {"vorncmp: res_generic_bv", "vorn_range_cmp: vxl check popcount",
                                         "vorn_range_cmp: vxl check result"};

} // namespace

extern "C" {

// Two reports carry the prefix of vorn_cmp: the missing per-run vector and the invalid constant length, which is that
// of lo even where hi is at fault.
uint32_t vorn_range_cmp(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                        vorn_aux *aux, uint32_t opc) {
  constexpr const char *entry = "vorn_range_cmp";
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const vorn_enc_ctx &lo_enc = *lo->vorn_cv_encoding_context;
  const vorn_enc_ctx &hi_enc = *hi->vorn_cv_encoding_context;
  timing timer(*ctx, VORN_SITE(entry));
  prepare_runs(*ctx, *src, "vorn_cmp: src1 missing burst resvec");
  if (enc.vorn_enc_ctx_type != lo_enc.vorn_enc_ctx_type)
    raise(*ctx, "vorn_range_cmp: src1 & src2 encoding does not match");
  if (enc.vorn_enc_ctx_type != hi_enc.vorn_enc_ctx_type)
    raise(*ctx, "vorn_range_cmp: src1 & src3 encoding does not match");
  if (!(lo_enc.vorn_enc_ctx_flags & VORN_CONST))
    raise(*ctx, "vorn_range_cmp: src2 is not constant");
  if (!(hi_enc.vorn_enc_ctx_flags & VORN_CONST))
    raise(*ctx, "vorn_range_cmp: src3 is not constant");
  check_aligned(*ctx, res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_range_cmp: res is not aligned");
  check_aligned(*ctx, src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_range_cmp: src is not aligned");
  if (aux != nullptr) {
    check_aligned(*ctx, aux->vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN, "vorn_range_cmp: aux bv is not aligned");
    if (is_filtered_inversely(*aux))
      raise(*ctx, "vorn_range_cmp: invert filter not supported", static_cast<const void *>(aux));
    drop_filter_of_runs(*src, *aux);
  }

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, opc);
  VORN_TRACE_KERNEL(*ctx, entry, index, enc);
  VORN_TRACE_ROWS(*ctx, entry, src->vorn_cv_nrows);
  vorn_aux local = {};
  if (aux != nullptr)
    VORN_TRACE_FILTER(*ctx, entry, *aux);
  else
    aux = &local;

  prepare(*aux, *ctx, operations::compare);
  timer.start();
  const uint32_t code = run_kernel(*ctx, index, *res, self_check, [&](const vorn_kernel &kernel, vorn_cv &result) {
    return kernel.ternary(&result, src, lo, hi, aux);
  });
  VORN_TRACE_DIAGNOSTIC(*ctx, entry, *aux);
  count(*ctx, *aux, operations::compare);
  if (code == VORN_RESULT_REFUSED)
    raise(*ctx, "vorn_cmp: invalid constant length", vorn_dispatch_func_names[index], length_code(*lo));
  VORN_TIMING_STEP(*ctx, entry, timer, src->vorn_cv_nrows, index);
  return code;
}

uint32_t vorn_gt_lt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                    vorn_aux *aux) {
  return vorn_range_cmp(ctx, res, src, lo, hi, aux, VORN_OPC_GT_LT);
}
uint32_t vorn_gt_le(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                    vorn_aux *aux) {
  return vorn_range_cmp(ctx, res, src, lo, hi, aux, VORN_OPC_GT_LE);
}
uint32_t vorn_ge_lt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                    vorn_aux *aux) {
  return vorn_range_cmp(ctx, res, src, lo, hi, aux, VORN_OPC_GE_LT);
}
uint32_t vorn_ge_le(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                    vorn_aux *aux) {
  return vorn_range_cmp(ctx, res, src, lo, hi, aux, VORN_OPC_GE_LE);
}

} // extern "C"
