// The entry that decodes unpacked dictionary codes to their values.
#include "frame/call.hpp"

using namespace vorn;

extern "C" uint32_t vorn_decode_symbol(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  constexpr const char *entry = "vorn_decode_symbol";
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  timing timer(*ctx, VORN_SITE(entry));
  if (!(enc.vorn_enc_ctx_flags & VORN_DICT))
    raise(*ctx, "vorn_decode_symbol: src is not DICT");
  vorn_aux local = {};
  if (aux == nullptr) {
    raise(*ctx, "vorn_decode_symbol: vorn_aux is NULL");
    aux = &local;
  }
  if (aux->vorn_aux_flags & VORN_AUX_INVERT_FILTER)
    raise(*ctx, "vorn_decode_symbol: invert filter not supported", static_cast<const void *>(aux));

  // Of the whole type word, whose upper bytes a builder leaves at zero.
  const auto index = static_cast<uint32_t>(enc.vorn_enc_ctx_type << 5) + VORN_OPC_DECODE_SYMBOL;
  VORN_TRACE_KERNEL(*ctx, entry, index, enc);
  VORN_TRACE_DECODED_ROWS(*ctx, entry, *src, *res, "nrows_decoded");
  VORN_TRACE_DECODE(*ctx, entry, *res, *aux);
  prepare(*aux, *ctx, operations::decode_symbol);
  timer.start();
  const uint32_t code = kernel_of(*ctx, index).unary(res, src, aux);
  VORN_TRACE_DIAGNOSTIC(*ctx, entry, *aux);
  count(*ctx, *aux, operations::decode_symbol);
  VORN_TIMING_STEP(*ctx, entry, timer, src->vorn_cv_nrows, index);
  return code;
}
