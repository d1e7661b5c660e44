// The kernel of the bloom test: hash values of 32 or 64 bits, and a map of one level or two.
#include "generic/join/bloom.hpp"

#include "generic/engine.hpp"
#include "generic/join/rows.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_bloom_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux) {
  using namespace vorn::join;
  if (!(flags_of(*src) & VORN_HASH_VALUES))
    return VORN_RESULT_REFUSED;
  const uint32_t value_size = (src->vorn_cv_encoding_context->vorn_enc_ctx_width & 0xff) == 32 ? 4 : 8;
  return filter->vorn_cv_encoding_context->vorn_enc_ctx_bloom_ind != 0
             ? bloom<vorn::engine::bloom_loop, true>(value_size, *res, *src, *filter, *aux)
             : bloom<vorn::engine::bloom_loop, false>(value_size, *res, *src, *filter, *aux);
}

VORN_KERNELS_END
