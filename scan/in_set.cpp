// Set membership of dictionary codes.
#include "frame/call.hpp"

using namespace vorn;

namespace {

constexpr self_check_texts self_check = {"vorncmp: res_generic_bv", "vorn_in_set: vxl check popcount",
                                         "vorn_in_set: vxl check result"};

} // namespace

// Neither the encoding of the set operand nor a refusal of the kernel means anything here.
extern "C" uint32_t vorn_in_set(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux) {
  constexpr const char *entry = "vorn_in_set";
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  timing timer(*ctx, VORN_SITE(entry));
  prepare_runs(*ctx, *src, "vorn_in_set: src1 missing burst resvec");
  if (!(enc.vorn_enc_ctx_flags & VORN_DICT))
    raise(*ctx, "vorn_in_set: src is not DICT");
  check_aligned(*ctx, res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN, "vorn_in_set: res is not aligned");
  check_aligned(*ctx, src->vorn_cv_vals, global.VORN_DATASTREAM_ALIGN, "vorn_in_set: src is not aligned");
  check_aligned(*ctx, set->vorn_cv_bv, global.VORN_JOIN_BITWVEC_ALIGN, "vorn_in_set: join bv is not aligned");
  if (aux != nullptr) {
    check_aligned(*ctx, aux->vorn_aux_filter_bv, global.VORN_BITWVEC_ALIGN, "vorn_in_set: aux bv is not aligned");
    if (is_filtered_inversely(*aux))
      raise(*ctx, "vorn_in_set: invert filter not supported", static_cast<const void *>(aux));
    drop_filter_of_runs(*src, *aux);
  }
  src->vorn_cv_mask_bv = nullptr;

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_SET);
  VORN_TRACE_KERNEL(*ctx, entry, index, enc);
  VORN_TRACE_ROWS(*ctx, entry, src->vorn_cv_nrows);
  vorn_aux local = {};
  if (aux != nullptr)
    VORN_TRACE_FILTER(*ctx, entry, *aux);
  else
    aux = &local;

  prepare(*aux, *ctx, operations::in_set);
  timer.start();
  const uint32_t code = run_kernel(*ctx, index, *res, self_check, [&](const vorn_kernel &kernel, vorn_cv &result) {
    return kernel.binary(&result, src, set, aux);
  });
  VORN_TRACE_DIAGNOSTIC(*ctx, entry, *aux);
  count(*ctx, *aux, operations::in_set);
  VORN_TIMING_STEP(*ctx, entry, timer, src->vorn_cv_nrows, index);
  return code;
}
