// Arithmetic.  The operation and the forms of the operands choose the kernel; the encoding type does not matter.
#include "frame/entry_point.hpp"

#include <algorithm>

using namespace vorn;

extern "C" {

// The entry reads aux only: it sets neither the context nor the diagnostic code.
uint32_t vorn_arith(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux,
                    uint32_t opcode) {
  entry_point call(*ctx, "vorn_arith");
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.trace_filter(VORN_POINT(filter), aux);
  const uint32_t to_sum = kernel_aux.vorn_aux_flags & VORN_AUX_SUM ? 1 : 0;
  const vorn_enc_ctx &left_enc = *left->vorn_cv_encoding_context, &right_enc = *right->vorn_cv_encoding_context;
  const uint32_t kind = left_enc.vorn_enc_ctx_num_type;
  if (kind != VORN_NUM_FLOAT && kind != VORN_NUM_DOUBLE) {
    raise(*ctx, "unsupported dtype");
    return VORN_RESULT_NO_IMPLEMENTATION; // no kernel exists for other types
  }
  const uint32_t forms = (kind == VORN_NUM_DOUBLE ? 1U : 0U) | (left_enc.vorn_enc_ctx_flags & VORN_NATIVE ? 0U : 4U) |
                         (right_enc.vorn_enc_ctx_flags & VORN_NATIVE ? 0U : 8U);
  const uint32_t index = to_sum << 12 | forms << 7 | opcode;
  if (opcode < VORN_OPC_ADD || opcode > VORN_OPC_MUL || call.lacks_kernel(index))
    return call.report_no_kernel("vorn_arith: slot without a kernel", {opcode, index, left_enc});
  call.trace(VORN_POINT(arithmetic), opcode, forms, to_sum);
  call.trace_kernel(VORN_POINT(kernel), index, left_enc);
  call.trace_call(VORN_POINT(compare), left->vorn_cv_nrows, left->vorn_cv_vals, res->vorn_cv_bv, aux);
  call.start_clock();
  const uint32_t code = call.kernel(index).binary(res, left, right, &kernel_aux);
  call.finish(VORN_POINT(time), std::max(left->vorn_cv_nrows, right->vorn_cv_nrows), index);
  return code;
}

#define VORN_DEFINE_WRAPPER(op, OP)                                                                                    \
  uint32_t vorn_##op(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *aux) {          \
    return vorn_arith(ctx, res, left, right, aux, VORN_OPC_##OP);                                                      \
  }
VORN_DEFINE_WRAPPER(add, ADD)
VORN_DEFINE_WRAPPER(sub, SUB)
VORN_DEFINE_WRAPPER(mul, MUL)

uint32_t vorn_div(const vorn_ctx *, vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *) {
  return VORN_RESULT_NO_IMPLEMENTATION;
}

} // extern "C"
