// The conversion of canonical numbers to native ones, or to their sum.
#include "generic/expr/convert.hpp"
#include "generic/expr/sum.hpp"
#include "generic/table/record.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

using sum_pass = ordered_sums;

template <class Float>
uint32_t convert(const vorn_cv &res, const vorn_cv &src, bool native, bool to_sum) {
  if (to_sum)
    return native ? sum<sum_pass, native_numbers<Float>>(res, src, nullptr)
                  : sum<sum_pass, canonical_numbers<Float>>(res, src, nullptr);
  if (native) // they are what they would become
    return VORN_RESULT_NO_IMPLEMENTATION;
  single_numbers::decode<canonical_numbers<Float>>(static_cast<uint8_t *>(res.vorn_cv_vals),
                                                   static_cast<const uint8_t *>(src.vorn_cv_vals), src.vorn_cv_nrows);
  return VORN_RESULT_DONE;
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

// The first bit of the kind that is known counts.
uint32_t vorn_convert_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const bool native = enc.vorn_enc_ctx_flags & VORN_NATIVE;
  const bool to_sum = aux->vorn_aux_flags & VORN_AUX_SUM;
  if (enc.vorn_enc_ctx_num_type & VORN_NUM_FLOAT)
    return vorn::convert<float>(*res, *src, native, to_sum);
  if (enc.vorn_enc_ctx_num_type & VORN_NUM_DOUBLE)
    return vorn::convert<double>(*res, *src, native, to_sum);
  if ((enc.vorn_enc_ctx_num_type & VORN_NUM_DSB) && to_sum)
    return vorn::sum_dsb<vorn::sum_pass>(*res, *src, nullptr);
  return VORN_RESULT_NO_IMPLEMENTATION;
}

VORN_KERNELS_END
