// The entry that decodes packed dictionary codes of a list of rows to their values.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" {

uint32_t vorn_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  entry_point call(*ctx, "vorn_decode");
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  call.check(enc.vorn_enc_ctx_flags & VORN_DICT, "vorn_decode: src is not DICT");
  call.check_aligned(src->vorn_cv_vals, vorn_global_ctx.VORN_DATASTREAM_ALIGN, "vorn_decode: src is not aligned");
  call.check(aux != nullptr, "vorn_decode: vorn_aux is NULL");
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.check(!(kernel_aux.vorn_aux_flags & VORN_AUX_INVERT_FILTER), "vorn_decode: invert filter not supported", aux);

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_DECODE);
  if (call.lacks_kernel(index))
    return call.report_no_kernel("vorn_decode: slot without a kernel", {VORN_OPC_DECODE, index, enc});
  call.trace_kernel(VORN_POINT(kernel), index, enc);
  call.trace_call(VORN_POINT(rows_decoded), src->vorn_cv_nrows, res->vorn_cv_nrows);
  call.trace_decode(VORN_POINT(decode), *res, kernel_aux);
  call.prepare(kernel_aux, operations::decode);
  call.start_clock();
  const uint32_t code = call.kernel(index).unary(res, src, &kernel_aux);
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::decode);
  // The rate counts all rows from the first row of the list to the last row, decoded or not.
  const bool empty = kernel_aux.vorn_aux_ones_vec_size == 0;
  call.finish(VORN_POINT(time), empty ? 0 : kernel_aux.vorn_aux_start_slot - kernel_aux.vorn_aux_ones_vec[0], index);
  return code;
}

uint32_t vorn_decode_is_vorn_dict_type_supported(uint32_t layout) {
  return layout == VORN_DICT_ONE_LENGTH || layout == VORN_DICT_CLA ? 1 : 0;
}

} // extern "C"
