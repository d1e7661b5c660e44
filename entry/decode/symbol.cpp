// The entry that decodes unpacked dictionary codes to their values.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_decode_symbol(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  entry_point call(*ctx, "vorn_decode_symbol");
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  call.check(enc.vorn_enc_ctx_flags & VORN_DICT, "vorn_decode_symbol: src is not DICT");
  call.check(aux != nullptr, "vorn_decode_symbol: vorn_aux is NULL");
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.check(!(kernel_aux.vorn_aux_flags & VORN_AUX_INVERT_FILTER), "vorn_decode_symbol: invert filter not supported",
             aux);

  // The index comes from the whole type word.  The builders leave its upper bytes at zero.
  const auto index = static_cast<uint32_t>(enc.vorn_enc_ctx_type << 5) + VORN_OPC_DECODE_SYMBOL;
  if (index >= VORN_DISPATCH_SLOTS || call.lacks_kernel(index))
    return call.report_no_kernel("vorn_decode_symbol: slot without a kernel", {VORN_OPC_DECODE_SYMBOL, index, enc});
  call.trace_kernel(VORN_POINT(kernel), index, enc);
  call.trace_call(VORN_POINT(rows_decoded), src->vorn_cv_nrows, res->vorn_cv_nrows);
  call.trace_decode(VORN_POINT(decode), *res, kernel_aux);
  call.prepare(kernel_aux, operations::decode_symbol);
  call.start_clock();
  const uint32_t code = call.kernel(index).unary(res, src, &kernel_aux);
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::decode_symbol);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return code;
}
