// Translation of keys.  The encoding of the table chooses the kernel.  The entry does not return the code of the
// kernel.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts check_texts = {"vorn_xlate: res_generic_bv", "vorn_xlate: vxl check popcount",
                                          "vorn_xlate: vxl check result", "vorn_xlate: vxl check range"};

// Kernels of group keys write no bits that could be compared.
bool sets_bits(uint32_t index) { return (index >> 5 & 3) != VORN_ENC_RLE; }

} // namespace

extern "C" uint32_t vorn_xlate(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *tbl, vorn_aux *aux) {
  entry_point call(*ctx, "vorn_xlate");
  const vorn_global_ctx_t &global = vorn_global_ctx;
  call.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_xlate: res is not aligned");
  call.check(aux != nullptr, "vorn_xlate: input is NULL");
  call.check(src->vorn_cv_encoding_context->vorn_enc_ctx_width == 32, "vorn_xlate: 32-bit hash values are required");
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.check_aligned(kernel_aux.vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN, "vorn_xlate: aux bv is not aligned");

  const vorn_enc_ctx &enc = *tbl->vorn_cv_encoding_context;
  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_XLATE);
  if (call.lacks_kernel(index))
    return call.report_no_kernel("vorn_xlate: slot without a kernel", {VORN_OPC_XLATE, index, enc});
  call.drop_filter_over_runs(*src, aux);
  call.trace_kernel(VORN_POINT(kernel_alone), index);
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.trace_filter(VORN_POINT(filter), aux);
  set(kernel_aux, operations::xlate.called);
  clear(kernel_aux, operations::xlate.selective);
  call.prepare(kernel_aux);
  call.start_clock();
  const auto invoke = [&](const vorn_kernel &kernel, vorn_cv &result) {
    return kernel.binary(&result, src, tbl, &kernel_aux);
  };
  if (call.has_self_check() && sets_bits(index))
    call.run_both({check_texts, src->vorn_cv_nrows, vorn_dispatch_func_names[index], tbl}, *res,
                  vorn_dispatch_table[index], call.kernel(index), invoke);
  else
    invoke(call.kernel(index), *res);
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::xlate);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return VORN_RESULT_DONE;
}
