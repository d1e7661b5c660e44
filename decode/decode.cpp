// The entry that decodes packed dictionary codes of a list of rows to their values.
#include "frame/call.hpp"

using namespace vorn;

extern "C" {

uint32_t vorn_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  constexpr const char *entry = "vorn_decode";
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  timing timer(*ctx, VORN_SITE(entry));
  if (!(enc.vorn_enc_ctx_flags & VORN_DICT))
    raise(*ctx, "vorn_decode: src is not DICT");
  check_aligned(*ctx, src->vorn_cv_vals, vorn_global_ctx.VORN_DATASTREAM_ALIGN, "vorn_decode: src is not aligned");
  vorn_aux local = {};
  if (aux == nullptr) {
    raise(*ctx, "vorn_decode: vorn_aux is NULL");
    aux = &local;
  }
  if (aux->vorn_aux_flags & VORN_AUX_INVERT_FILTER)
    raise(*ctx, "vorn_decode: invert filter not supported", static_cast<const void *>(aux));

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_DECODE);
  VORN_TRACE_KERNEL(*ctx, entry, index, enc);
  VORN_TRACE_DECODED_ROWS(*ctx, entry, *src, *res, "nrows_decoded");
  VORN_TRACE_DECODE(*ctx, entry, *res, *aux);
  prepare(*aux, *ctx, operations::decode);
  timer.start();
  const uint32_t code = kernel_of(*ctx, index).unary(res, src, aux);
  VORN_TRACE_DIAGNOSTIC(*ctx, entry, *aux);
  count(*ctx, *aux, operations::decode);
  // The rate is that of the rows from the first to the last one of the list, whether decoded or not.
  const uint32_t visited = aux->vorn_aux_ones_vec_size == 0 ? 0 : aux->vorn_aux_start_slot - aux->vorn_aux_ones_vec[0];
  VORN_TIMING_STEP(*ctx, entry, timer, visited, index);
  return code;
}

uint32_t vorn_decode_is_vorn_dict_type_supported(uint32_t layout) {
  return layout == VORN_DICT_ONE_LENGTH || layout == VORN_DICT_CLA ? 1 : 0;
}

} // extern "C"
