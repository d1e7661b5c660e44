// The entry that unpacks dictionary codes to plain integers, batch by batch.
#include "frame/call.hpp"

using namespace vorn;

extern "C" uint32_t vorn_decode_unpack(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  constexpr const char *entry = "vorn_decode_unpack";
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  timing timer(*ctx, VORN_SITE(entry));
  check_aligned(*ctx, res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_decode_unpack: res is not aligned");
  if (!(enc.vorn_enc_ctx_flags & VORN_DICT))
    raise(*ctx, "vorn_decode_unpack: src is not DICT");
  check_aligned(*ctx, src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_decode_unpack: src is not aligned");
  vorn_aux local = {};
  if (aux == nullptr) {
    raise(*ctx, "vorn_decode_unpack: vorn_aux is NULL");
    aux = &local;
  }
  if (aux->vorn_aux_flags & VORN_AUX_INVERT_FILTER)
    raise(*ctx, "vorn_decode_unpack: invert filter not supported", static_cast<const void *>(aux));

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_DECODE_UNPACK);
  VORN_TRACE_KERNEL(*ctx, entry, index, enc);
  VORN_TRACE_DECODED_ROWS(*ctx, entry, *src, *res, "nrows_unpacked");
  VORN_TRACE_DECODE(*ctx, entry, *res, *aux);
  prepare(*aux, *ctx, operations::decode_unpack);
  const uint32_t first = aux->vorn_aux_start_slot;
  timer.start();
  const uint32_t code = kernel_of(*ctx, index).unary(res, src, aux);
  VORN_TRACE_DIAGNOSTIC(*ctx, entry, *aux);
  count(*ctx, *aux, operations::decode_unpack);
  VORN_TIMING_STEP(*ctx, entry, timer, aux->vorn_aux_start_slot - first + 1, index);
  return code;
}
