// The comparisons with one constant: vorn_cmp and its six wrappers.
#include "frame/call.hpp"

using namespace vorn;

extern "C" {

uint32_t vorn_cmp(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux, uint32_t opc) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const vorn_enc_ctx &cst_enc = *cst->vorn_cv_encoding_context;
  // (decide timing)
  if (over_runs(*src) && enc.vorn_enc_ctx_burst_res_bv == nullptr)
    raise(*ctx, "vorn_cmp: src1 missing burst resvec");
  if (enc.vorn_enc_ctx_type != cst_enc.vorn_enc_ctx_type)
    raise(*ctx, "vorn_cmp: encoding does not match");
  if (!(cst_enc.vorn_enc_ctx_flags & VORN_CONST))
    raise(*ctx, "vorn_cmp: src2 is not constant");
  check_aligned(*ctx, res->vorn_cv_bv, vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_cmp: res is not aligned");
  check_aligned(*ctx, src->vorn_cv_vals, vorn_global_ctx.VORN_DATASTREAM_ALIGN, "vorn_cmp: src is not aligned");
  if (aux != nullptr) {
    check_aligned(*ctx, aux->vorn_aux_filter_bv, vorn_global_ctx.VORN_BITWVEC_ALIGN, "vorn_cmp: aux bv is not aligned");
    if (aux->vorn_aux_filter_bv != nullptr && (aux->vorn_aux_flags & VORN_AUX_INVERT_FILTER))
      raise(*ctx, "vorn_cmp: invert filter not supported", static_cast<const void *>(aux));
    if (over_runs(*src))
      aux->vorn_aux_filter_bv = nullptr;
  }

  const uint32_t index = dispatch_index(enc, opc);
  // (trace kernel, call and filter)
  vorn_aux local = {};
  if (aux == nullptr)
    aux = &local;
  prepare(*aux, *ctx, operations::compare);
  // (take the start time)
  const uint32_t code = kernel_in_force(*ctx, index).binary(res, src, cst, aux);
  // (trace the diagnostic code, count)
  if (code == VORN_RESULT_REFUSED) {
    const auto *lens = static_cast<const uint8_t *>(cst->vorn_cv_lens);
    raise(*ctx, "vorn_cmp: invalid constant length", vorn_dispatch_func_names[index], lens == nullptr ? 0 : *lens);
  }
  // (timing step)
  return code;
}

uint32_t vorn_eq(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  return vorn_cmp(ctx, res, src, cst, aux, VORN_OPC_EQ);
}
uint32_t vorn_lt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  return vorn_cmp(ctx, res, src, cst, aux, VORN_OPC_LT);
}
uint32_t vorn_gt(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  return vorn_cmp(ctx, res, src, cst, aux, VORN_OPC_GT);
}
uint32_t vorn_le(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  return vorn_cmp(ctx, res, src, cst, aux, VORN_OPC_LE);
}
uint32_t vorn_ge(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  return vorn_cmp(ctx, res, src, cst, aux, VORN_OPC_GE);
}
uint32_t vorn_ne(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  return vorn_cmp(ctx, res, src, cst, aux, VORN_OPC_NE);
}

} // extern "C"
