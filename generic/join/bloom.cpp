// The bloom kernels: two sizes of hash values, all rows or those of a filter.
#include "generic/join/bloom.hpp"
#include "generic/join/rows.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_BLOOM(bits, suffix, selective)                                                                     \
  static uint32_t vorn_bloom_hash##bits##suffix(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux) {          \
    return vorn::bloom<vorn::single_tests>(selective, bits / 8, *res, *src, *filter, *aux);                            \
  }
VORN_DEFINE_BLOOM(32, , false)
VORN_DEFINE_BLOOM(32, _selective, true)
VORN_DEFINE_BLOOM(64, , false)
VORN_DEFINE_BLOOM(64, _selective, true)

uint32_t vorn_bloom_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux) {
  if (!(vorn::flags_of(*src) & VORN_HASH_VALUES))
    return VORN_RESULT_REFUSED;
  const bool narrow = (src->vorn_cv_encoding_context->vorn_enc_ctx_width & 0xff) == 32;
  const bool selective = aux->vorn_aux_filter_bv != nullptr;
  const auto kernel = narrow ? (selective ? vorn_bloom_hash32_selective : vorn_bloom_hash32)
                             : (selective ? vorn_bloom_hash64_selective : vorn_bloom_hash64);
  return kernel(res, src, filter, aux);
}

VORN_KERNELS_END
