// The entry that expands one bit per run to one bit per row.  Predicates over runs come here through
// vorn_enc_ctx_burst_fn.
#include "frame/call.hpp"

using namespace vorn;

extern "C" uint32_t vorn_decode_rle_burst(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  constexpr const char *entry = "vorn_decode_rle_burst";
  const vorn_global_ctx_t &global = vorn_global_ctx;
  vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  timing timer(*ctx, VORN_SITE(entry));
  if (!over_runs(*src))
    raise(*ctx, "vorn_decode_rle_burst: src is not RLE");
  check_aligned(*ctx, res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_decode_rle_burst: res is not aligned");
  check_aligned(*ctx, enc.vorn_enc_ctx_rle_lens, global.VORN_DATASTREAM_ALIGN,
                "vorn_decode_rle_burst: rle vec is not aligned");
  check_aligned(*ctx, enc.vorn_enc_ctx_rle_cla, global.VORN_DATASTREAM_ALIGN,
                "vorn_decode_rle_burst: rle cla is not aligned");
  check_aligned(*ctx, aux->vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN,
                "vorn_decode_rle_burst: aux bv is not aligned");

  // The code stream is not read, so it is not decompressed either, whatever the flag says.
  const uint32_t flags = enc.vorn_enc_ctx_flags;
  enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_STREAM};

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_minor_type, VORN_OPC_BURST);
  VORN_TRACE(*ctx, trace_kernel, entry, "%s force_generic: %d\n", vorn_dispatch_func_names[index], force_generic(*ctx));
  VORN_TRACE_ROWS(*ctx, entry, src->vorn_cv_nrows);
  prepare(*aux, *ctx, operations::rle_burst);
  timer.start();
  const uint32_t code = kernel_of(*ctx, index).unary(res, src, aux);
  VORN_TRACE_DIAGNOSTIC(*ctx, entry, *aux);
  enc.vorn_enc_ctx_flags = flags;
  count(*ctx, *aux, operations::rle_burst);
  VORN_TIMING_STEP(*ctx, entry, timer, src->vorn_cv_nrows, index);
  return code;
}
