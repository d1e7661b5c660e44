// Translation of keys.  The kernel is chosen by the table's encoding, and its code is not handed on.
#include "frame/entry_point.hpp"
#include "frame/row_check.hpp"

using namespace vorn;

namespace {

constexpr row_check_texts check_texts = {"vorn_xlate: res_generic_bv", "vorn_xlate: vxl check result",
                                         "vorn_xlate: vxl check popcount", "vorn_xlate: vxl check range"};

// Kernels of group keys write no bits that could be compared.
bool sets_bits(uint32_t index) { return (index >> 5 & 3) != VORN_ENC_RLE; }

} // namespace

extern "C" uint32_t vorn_xlate(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *tbl, vorn_aux *aux) {
  entry_point here(*ctx, "vorn_xlate");
  const vorn_global_ctx_t &global = vorn_global_ctx;
  here.check_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_xlate: res is not aligned");
  here.check(aux != nullptr, "vorn_xlate: input is NULL");
  here.check(src->vorn_cv_encoding_context->vorn_enc_ctx_width == 32, "vorn_xlate: 32-bit hash values are required");
  std::optional<vorn_aux> own;
  vorn_aux &given = aux_or_own(aux, own);
  here.check_aligned(given.vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN, "vorn_xlate: aux bv is not aligned");
  here.drop_filter_over_runs(*src, aux);

  const uint32_t index = dispatch_index(tbl->vorn_cv_encoding_context->vorn_enc_ctx_type, VORN_OPC_XLATE);
  here.trace_kernel(VORN_POINT(kernel_alone), index);
  here.trace_call(VORN_POINT(rows), src->vorn_cv_nrows);
  here.trace_filter(VORN_POINT(filter), aux);
  set(given, operations::xlate.called);
  clear(given, operations::xlate.selective);
  here.prepare(given);
  here.start_clock();
  if (here.has_self_check() && sets_bits(index)) {
    row_check check(*ctx, src->vorn_cv_nrows, check_texts);
    const uint32_t generic_code = vorn_dispatch_table[index].binary(&check.expected(), src, tbl, &given);
    const uint32_t code = here.kernel(index).binary(res, src, tbl, &given);
    if (generic_code != VORN_RESULT_REFUSED || code != VORN_RESULT_REFUSED)
      check.compare(*res, tbl, vorn_dispatch_func_names[index]);
    check.release();
  } else {
    here.kernel(index).binary(res, src, tbl, &given);
  }
  here.trace_diagnostic(VORN_POINT(diagnostic), given);
  here.count(given, operations::xlate);
  here.finish(VORN_POINT(time), src->vorn_cv_nrows, index);
  return VORN_RESULT_DONE;
}
