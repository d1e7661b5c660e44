// The decoder of prefix-compressed values.
#include "generic/decode/prefix.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_prefix_decode_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  return vorn::prefix_decode(res, src, aux);
}

VORN_KERNELS_END
