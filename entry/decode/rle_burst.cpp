// The entry that expands one bit per run to one bit per row.  Predicates over runs call it through
// vorn_enc_ctx_burst_fn.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_decode_rle_burst(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  entry_point call(*ctx, "vorn_decode_rle_burst");
  const vorn_global_ctx_t &global = vorn_global_ctx;
  vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  call.check(over_runs(*src), "vorn_decode_rle_burst: src is not RLE");
  call.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_decode_rle_burst: res is not aligned");
  call.check_aligned(enc.vorn_enc_ctx_rle_lens, global.VORN_DATASTREAM_ALIGN,
                     "vorn_decode_rle_burst: rle vec is not aligned");
  call.check_aligned(enc.vorn_enc_ctx_rle_cla, global.VORN_DATASTREAM_ALIGN,
                     "vorn_decode_rle_burst: rle cla is not aligned");
  call.check_aligned(aux->vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN,
                     "vorn_decode_rle_burst: aux bv is not aligned");

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_minor_type, VORN_OPC_BURST);
  if (call.lacks_kernel(index))
    return call.report_no_kernel("vorn_decode_rle_burst: slot without a kernel", {VORN_OPC_BURST, index, enc});

  // The burst does not read the code stream, so the stream is not decompressed, whatever the flag says.
  const uint32_t flags = enc.vorn_enc_ctx_flags;
  enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_STREAM};

  call.trace_kernel(VORN_POINT(kernel_alone), index);
  call.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  call.prepare(*aux, operations::rle_burst);
  call.start_clock();
  const uint32_t code = call.kernel(index).unary(res, src, aux);
  call.trace_diagnostic(VORN_POINT(diagnostic), *aux);
  enc.vorn_enc_ctx_flags = flags;
  call.count(*aux, operations::rle_burst);
  call.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return code;
}
