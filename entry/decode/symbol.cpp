// The entry that decodes unpacked dictionary codes to their values.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_decode_symbol(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  entry_point here(*ctx, "vorn_decode_symbol");
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  here.check(enc.vorn_enc_ctx_flags & VORN_DICT, "vorn_decode_symbol: src is not DICT");
  here.check(aux != nullptr, "vorn_decode_symbol: vorn_aux is NULL");
  std::optional<vorn_aux> own;
  vorn_aux &given = aux_or_own(aux, own);
  here.check(!(given.vorn_aux_flags & VORN_AUX_INVERT_FILTER), "vorn_decode_symbol: invert filter not supported", aux);

  // Of the whole type word, whose upper bytes a builder leaves at zero.
  const auto index = static_cast<uint32_t>(enc.vorn_enc_ctx_type << 5) + VORN_OPC_DECODE_SYMBOL;
  here.trace_kernel(VORN_POINT(kernel), index, enc);
  here.trace_call(VORN_POINT(rows_decoded), src->vorn_cv_nrows, res->vorn_cv_nrows);
  here.trace_decode(VORN_POINT(decode), *res, given);
  here.prepare(given, operations::decode_symbol);
  here.start_clock();
  const uint32_t code = here.kernel(index).unary(res, src, &given);
  here.trace_diagnostic(VORN_POINT(diagnostic), given);
  here.count(given, operations::decode_symbol);
  here.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return code;
}
