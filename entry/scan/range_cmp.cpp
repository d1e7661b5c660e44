// The comparisons with two constants: vorn_range_cmp and its four wrappers.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts self_check = {"vorncmp: res_generic_bv", "vorn_range_cmp: vxl check popcount",
                                         "vorn_range_cmp: vxl check result"};

} // namespace

extern "C" {

// Two reports have the prefix of vorn_cmp: the missing per-run vector and the invalid constant length.  The reported
// length is the length of lo, even if hi is at fault.
uint32_t vorn_range_cmp(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                        vorn_aux *aux, uint32_t opc) {
  entry_point call(*ctx, "vorn_range_cmp");
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const vorn_enc_ctx &lo_enc = *lo->vorn_cv_encoding_context;
  const vorn_enc_ctx &hi_enc = *hi->vorn_cv_encoding_context;
  call.check_runs(*src, "vorn_cmp: src1 missing burst resvec");
  call.check(enc.vorn_enc_ctx_type == lo_enc.vorn_enc_ctx_type, "vorn_range_cmp: src1 & src2 encoding does not match");
  call.check(enc.vorn_enc_ctx_type == hi_enc.vorn_enc_ctx_type, "vorn_range_cmp: src1 & src3 encoding does not match");
  call.check(lo_enc.vorn_enc_ctx_flags & VORN_CONST, "vorn_range_cmp: src2 is not constant");
  call.check(hi_enc.vorn_enc_ctx_flags & VORN_CONST, "vorn_range_cmp: src3 is not constant");
  call.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_range_cmp: res is not aligned");
  call.check_aligned(src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_range_cmp: src is not aligned");
  call.check_filter(aux, "vorn_range_cmp: aux bv is not aligned", "vorn_range_cmp: invert filter not supported");

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, opc);
  if (opc < VORN_OPC_GT_LT || opc > VORN_OPC_GE_LE || call.lacks_kernel(index))
    return call.report_no_kernel("vorn_range_cmp: slot without a kernel", {opc, index, enc});
  call.drop_filter_over_runs(*src, aux);
  call.trace_kernel(VORN_POINT(kernel), index, enc);
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.prepare(kernel_aux, operations::compare);
  call.start_clock();
  const uint32_t code = call.run(index, *res, self_check, [&](const vorn_kernel &kernel, vorn_cv &result) {
    return kernel.ternary(&result, src, lo, hi, &kernel_aux);
  });
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::compare);
  if (code == VORN_RESULT_REFUSED)
    raise(*ctx, "vorn_cmp: invalid constant length", vorn_dispatch_func_names[index], length_code(*lo));
  call.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return code;
}

#define VORN_DEFINE_WRAPPER(op, OP)                                                                                    \
  uint32_t vorn_##op(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,            \
                     vorn_aux *aux) {                                                                                  \
    return vorn_range_cmp(ctx, res, src, lo, hi, aux, VORN_OPC_##OP);                                                  \
  }
VORN_DEFINE_WRAPPER(gt_lt, GT_LT)
VORN_DEFINE_WRAPPER(gt_le, GT_LE)
VORN_DEFINE_WRAPPER(ge_lt, GE_LT)
VORN_DEFINE_WRAPPER(ge_le, GE_LE)

} // extern "C"
