// The comparisons with one constant: vorn_cmp and its six wrappers.
#include "frame/entry_point.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts self_check = {"vorncmp: res_generic_bv", "vorn_cmp: vxl check popcount",
                                         "vorn_cmp: vxl check result"};

} // namespace

extern "C" {

uint32_t vorn_cmp(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux, uint32_t opc) {
  entry_point call(*ctx, "vorn_cmp");
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const vorn_enc_ctx &cst_enc = *cst->vorn_cv_encoding_context;
  call.check_runs(*src, "vorn_cmp: src1 missing burst resvec");
  call.check(enc.vorn_enc_ctx_type == cst_enc.vorn_enc_ctx_type, "vorn_cmp: encoding does not match");
  call.check(cst_enc.vorn_enc_ctx_flags & VORN_CONST, "vorn_cmp: src2 is not constant");
  call.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_cmp: res is not aligned");
  call.check_aligned(src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_cmp: src is not aligned");
  call.check_filter(aux, "vorn_cmp: aux bv is not aligned", "vorn_cmp: invert filter not supported");

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, opc);
  if (opc > VORN_OPC_NE || call.lacks_kernel(index))
    return call.report_no_kernel("vorn_cmp: slot without a kernel", {opc, index, enc});
  call.drop_filter_over_runs(*src, aux);
  call.trace_kernel(VORN_POINT(kernel), index, enc);
  call.trace_call(VORN_POINT(compare), src->vorn_cv_nrows, src->vorn_cv_vals, res->vorn_cv_bv, aux);
  call.trace_filter(VORN_POINT(filter), aux);
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.prepare(kernel_aux, operations::compare);
  call.start_clock();
  const uint32_t code = call.run(index, *res, self_check, [&](const vorn_kernel &kernel, vorn_cv &result) {
    return kernel.binary(&result, src, cst, &kernel_aux);
  });
  call.trace_diagnostic(VORN_POINT(diagnostic), kernel_aux);
  call.count(kernel_aux, operations::compare);
  if (code == VORN_RESULT_REFUSED)
    raise(*ctx, "vorn_cmp: invalid constant length", vorn_dispatch_func_names[index], length_code(*cst));
  call.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return code;
}

#define VORN_DEFINE_WRAPPER(op, OP)                                                                                    \
  uint32_t vorn_##op(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {             \
    return vorn_cmp(ctx, res, src, cst, aux, VORN_OPC_##OP);                                                           \
  }
VORN_DEFINE_WRAPPER(eq, EQ)
VORN_DEFINE_WRAPPER(lt, LT)
VORN_DEFINE_WRAPPER(gt, GT)
VORN_DEFINE_WRAPPER(le, LE)
VORN_DEFINE_WRAPPER(ge, GE)
VORN_DEFINE_WRAPPER(ne, NE)

} // extern "C"
