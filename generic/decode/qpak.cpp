// The generic block decoder calls the decoder of the host.
#include "frame/host.h"
#include "frame/level.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_qpak_decode_dydi(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen) {
  return qpak_decode(qctx->vorn_qpak_ctx_env, qctx->vorn_qpak_ctx_heap, src, dst, outlen, dstlen, 0, 0, 0);
}

VORN_KERNELS_END
