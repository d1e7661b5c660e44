// The entry that unpacks dictionary codes to plain integers, batch by batch.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" {

uint32_t vorn_decode_unpack(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  entry_point call(*ctx, "vorn_decode_unpack");
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  call.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_decode_unpack: res is not aligned");
  call.check(enc.vorn_enc_ctx_flags & VORN_DICT, "vorn_decode_unpack: src is not DICT");
  call.check_aligned(src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_decode_unpack: src is not aligned");
  call.check(aux != nullptr, "vorn_decode_unpack: vorn_aux is NULL");
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.check(!(kernel_aux.vorn_aux_flags & VORN_AUX_INVERT_FILTER), "vorn_decode_unpack: invert filter not supported",
             aux);

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_DECODE_UNPACK);
  if (call.lacks_kernel(index))
    return call.report_no_kernel("vorn_decode_unpack: slot without a kernel", {VORN_OPC_DECODE_UNPACK, index, enc});
  call.trace_kernel(VORN_POINT(kernel), index, enc);
  call.trace_call(VORN_POINT(rows_unpacked), src->vorn_cv_nrows, res->vorn_cv_nrows);
  call.trace_decode(VORN_POINT(decode), *res, kernel_aux);
  call.prepare(kernel_aux, operations::decode_unpack);
  const uint32_t first = kernel_aux.vorn_aux_start_slot;
  call.start_clock();
  const uint32_t code = call.kernel(index).unary(res, src, &kernel_aux);
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::decode_unpack);
  call.finish(VORN_POINT(time), kernel_aux.vorn_aux_start_slot - first + 1, index);
  return code;
}

uint32_t vorn_dispatch_decode_unpack(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_DECODE_UNPACK);
  const vorn_kernel &kernel = vorn_dispatch_table[index];
  if (is_empty(kernel))
    return report_empty_slot(*aux->vorn_aux_ctx, "vorn_dispatch_decode_unpack: slot without a kernel",
                             {VORN_OPC_DECODE_UNPACK, index, enc});
  return kernel.unary(res, src, aux);
}

} // extern "C"
