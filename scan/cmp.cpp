// The comparisons with one constant: vorn_cmp and its six wrappers.
#include "frame/call.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts self_check = {"vorncmp: res_generic_bv", "vorn_cmp: vxl check popcount",
                                         "vorn_cmp: vxl check result"};

} // namespace

extern "C" {

uint32_t vorn_cmp(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux, uint32_t opc) {
  constexpr const char *entry = "vorn_cmp";
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const vorn_enc_ctx &cst_enc = *cst->vorn_cv_encoding_context;
  timing timer(*ctx, VORN_SITE(entry));
  prepare_runs(*ctx, *src, "vorn_cmp: src1 missing burst resvec");
  if (enc.vorn_enc_ctx_type != cst_enc.vorn_enc_ctx_type)
    raise(*ctx, "vorn_cmp: encoding does not match");
  if (!(cst_enc.vorn_enc_ctx_flags & VORN_CONST))
    raise(*ctx, "vorn_cmp: src2 is not constant");
  check_aligned(*ctx, res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_cmp: res is not aligned");
  check_aligned(*ctx, src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_cmp: src is not aligned");
  if (aux != nullptr) {
    check_aligned(*ctx, aux->vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN, "vorn_cmp: aux bv is not aligned");
    if (is_filtered_inversely(*aux))
      raise(*ctx, "vorn_cmp: invert filter not supported", static_cast<const void *>(aux));
    drop_filter_of_runs(*src, *aux);
  }

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, opc);
  VORN_TRACE_KERNEL(*ctx, entry, index, enc);
  VORN_TRACE(*ctx, trace_call, entry,
             "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d src: %p res: %p aux: %p\n",
             global.vorn_global_ctx_lib_name, global.vorn_global_ctx_status,
             static_cast<const void *>(global.vorn_global_ctx_dispatch), src->vorn_cv_nrows,
             static_cast<const void *>(src->vorn_cv_vals), static_cast<const void *>(res->vorn_cv_bv),
             static_cast<const void *>(aux));
  vorn_aux local = {};
  if (aux != nullptr)
    VORN_TRACE_FILTER(*ctx, entry, *aux);
  else
    aux = &local;

  prepare(*aux, *ctx, operations::compare);
  timer.start();
  const uint32_t code = run_kernel(*ctx, index, *res, self_check, [&](const vorn_kernel &kernel, vorn_cv &result) {
    return kernel.binary(&result, src, cst, aux);
  });
  VORN_TRACE_DIAGNOSTIC(*ctx, entry, *aux);
  count(*ctx, *aux, operations::compare);
  if (code == VORN_RESULT_REFUSED)
    raise(*ctx, "vorn_cmp: invalid constant length", vorn_dispatch_func_names[index], length_code(*cst));
  VORN_TIMING_STEP(*ctx, entry, timer, src->vorn_cv_nrows, index);
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
