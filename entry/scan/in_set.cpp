// Set membership of dictionary codes.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts self_check = {"vorncmp: res_generic_bv", "vorn_in_set: vxl check popcount",
                                         "vorn_in_set: vxl check result"};

} // namespace

// The entry ignores the encoding of the set operand, and a refusal of the kernel is no error.
extern "C" uint32_t vorn_in_set(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux) {
  entry_point call(*ctx, "vorn_in_set");
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  call.check_runs(*src, "vorn_in_set: src1 missing burst resvec");
  call.check(enc.vorn_enc_ctx_flags & VORN_DICT, "vorn_in_set: src is not DICT");
  call.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_in_set: res is not aligned");
  call.check_aligned(src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_in_set: src is not aligned");
  call.check_aligned(set->vorn_cv_bv, global.VORN_JOIN_BITWVEC_ALIGN, "vorn_in_set: join bv is not aligned");
  call.check_filter(aux, "vorn_in_set: aux bv is not aligned", "vorn_in_set: invert filter not supported");

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_SET);
  if (call.lacks_kernel(index))
    return call.report_no_kernel("vorn_in_set: slot without a kernel", {VORN_OPC_SET, index, enc});
  call.drop_filter_over_runs(*src, aux);
  src->vorn_cv_mask_bv = nullptr;
  call.trace_kernel(VORN_POINT(kernel), index, enc);
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.prepare(kernel_aux, operations::in_set);
  call.start_clock();
  const uint32_t code = call.run(index, *res, self_check, [&](const vorn_kernel &kernel, vorn_cv &result) {
    return kernel.binary(&result, src, set, &kernel_aux);
  });
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::in_set);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return code;
}
