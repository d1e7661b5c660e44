// The kernel that converts canonical numbers to native numbers, or to their sum.
#include "generic/expr/convert.hpp"
#include "generic/expr/sum.hpp"
#include "generic/table/record.hpp"

namespace vorn::inline VORN_LEVEL::expr {

namespace {

template <class Float>
uint32_t convert(const vorn_cv &res, const vorn_cv &src, bool to_sum) {
  if (to_sum)
    return sum_floats<Float>(res, src, nullptr);
  if (is_native(src)) // there is nothing to convert
    return VORN_RESULT_NO_IMPLEMENTATION;
  single_numbers::decode<canonical_numbers<Float>>(static_cast<uint8_t *>(res.vorn_cv_vals),
                                                   static_cast<const uint8_t *>(src.vorn_cv_vals), src.vorn_cv_nrows);
  return VORN_RESULT_DONE;
}

} // namespace

} // namespace vorn::inline VORN_LEVEL::expr

VORN_KERNELS_BEGIN

// Of the bits of the number type, the first known bit decides.
uint32_t vorn_convert_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  using namespace vorn::expr;
  const uint32_t type = src->vorn_cv_encoding_context->vorn_enc_ctx_num_type;
  const bool to_sum = aux->vorn_aux_flags & VORN_AUX_SUM;
  if (type & VORN_NUM_FLOAT)
    return convert<float>(*res, *src, to_sum);
  if (type & VORN_NUM_DOUBLE)
    return convert<double>(*res, *src, to_sum);
  if ((type & VORN_NUM_DSB) && to_sum)
    return sum_dsb(*res, *src, nullptr);
  return VORN_RESULT_NO_IMPLEMENTATION;
}

VORN_KERNELS_END
