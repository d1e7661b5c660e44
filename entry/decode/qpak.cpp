// The entry of the block decoder.  The host has a decoder, and a specialised library may have a faster one.  The record
// of a call is not a vorn_ctx, so there is no entry_point.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_qpak_decode(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen,
                                     uint32_t dstlen) {
  const vorn_global_ctx_t &global = vorn_global_ctx;
  void *env = qctx->vorn_qpak_ctx_env;
  if (!is_aligned(src, global.vorn_global_ctx_qpak_in_align))
    raise(env, "vorn_qpak_decode: input is not aligned", src);
  if (qctx->vorn_qpak_ctx_generic != 0) {
    if (!is_aligned(dst, global.VORN_DATASTREAM_ALIGN))
      raise(env, "vorn_qpak_decode generic: output is not aligned", static_cast<const void *>(dst));
  } else if (!is_aligned(dst, global.vorn_global_ctx_qpak_out_align)) {
    raise(env, "vorn_qpak_decode: output is not aligned", static_cast<const void *>(dst));
  }
  if (qctx->vorn_qpak_ctx_stack_alloc == nullptr) {
    qctx->vorn_qpak_ctx_stack_alloc = vornu_stack_alloc_align;
    qctx->vorn_qpak_ctx_stack_free = vornu_stack_free_align;
  }
  const auto decoder = global.vorn_qpak_decode_dydi;
  if (decoder != nullptr) {
    const uint32_t result = decoder(qctx, src, dst, outlen, dstlen);
    if (result == 0 || decoder == vorn_qpak_decode_dydi)
      return result;
  }
  return vorn_qpak_decode_dydi(qctx, src, dst, outlen, dstlen); // the host decodes what another decoder cannot
}
