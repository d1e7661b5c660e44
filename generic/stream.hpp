// The value stream of a vector.
#pragma once

#include <cstdint>

#include "frame/raise.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

// The number of codes of a stream: one for each row, or one for each run.
inline uint32_t ncodes_of(const vorn_cv &src) {
  const vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
  return enc.vorn_enc_ctx_flags & VORN_RLE ? enc.vorn_enc_ctx_rle_nruns : src.vorn_cv_nrows;
}

// The two texts of decompression.  Each contains the name of a kernel.
struct stream_texts {
  const char *allocation;
  const char *decode_failed;
};

#define VORN_STREAM_TEXTS(kernel)                                                                                      \
  { kernel ": vec1_decomp", kernel ": vorn_qpak_decode failed" }

// The decompressed form of a stream that is compressed in blocks.  It is made once and stays in the host's slot.  The
// host frees it.
[[gnu::noinline]] inline const uint8_t *decompressed_stream(const vorn_cv &src, const vorn_aux &aux,
                                                            const stream_texts &texts) {
  void **slot = src.vorn_cv_stream_slot;
  if (*slot == nullptr) {
    const vorn_ctx &ctx = *aux.vorn_aux_ctx;
    *slot = ctx.vorn_ctx_alloc(ctx.vorn_ctx_env, ctx.vorn_ctx_heap, src.vorn_cv_stream_len, texts.allocation, 8, 16,
                               src.vorn_cv_stream_tag);
    const bool generic = ctx.vorn_ctx_flags & (VORN_CTX_FORCE_GENERIC | VORN_CTX_SELF_CHECK);
    vorn_qpak_ctx decoder = {ctx.vorn_ctx_env, ctx.vorn_ctx_heap, ctx.vorn_ctx_stack_alloc, ctx.vorn_ctx_stack_free,
                             generic ? 1U : 0U};
    uint32_t outlen = 0;
    if (ctx.vorn_ctx_decompress(&decoder, src.vorn_cv_vals, *slot, &outlen, src.vorn_cv_stream_len) != 0)
      raise(ctx, texts.decode_failed);
  }
  return static_cast<const uint8_t *>(*slot);
}

inline const uint8_t *obtain_stream(const vorn_cv &src, const vorn_aux &aux, const stream_texts &texts) {
  return src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_STREAM
             ? decompressed_stream(src, aux, texts)
             : static_cast<const uint8_t *>(src.vorn_cv_vals);
}

} // namespace vorn::inline VORN_LEVEL
