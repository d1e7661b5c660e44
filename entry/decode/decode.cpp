// The entry that decodes packed dictionary codes of a list of rows to their values.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" {

uint32_t vorn_decode(const vorn_ctx *ctx, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  entry_point here(*ctx, "vorn_decode");
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  here.check(enc.vorn_enc_ctx_flags & VORN_DICT, "vorn_decode: src is not DICT");
  here.check_aligned(src->vorn_cv_vals, vorn_global_ctx.VORN_DATASTREAM_ALIGN, "vorn_decode: src is not aligned");
  here.check(aux != nullptr, "vorn_decode: vorn_aux is NULL");
  std::optional<vorn_aux> own;
  vorn_aux &given = aux_or_own(aux, own);
  here.check(!(given.vorn_aux_flags & VORN_AUX_INVERT_FILTER), "vorn_decode: invert filter not supported", aux);

  const uint32_t index = dispatch_index(enc.vorn_enc_ctx_type, VORN_OPC_DECODE);
  here.trace_kernel(VORN_POINT(kernel), index, enc);
  here.trace_call(VORN_POINT(rows_decoded), src->vorn_cv_nrows, res->vorn_cv_nrows);
  here.trace_decode(VORN_POINT(decode), *res, given);
  here.prepare(given, operations::decode);
  here.start_clock();
  const uint32_t code = here.kernel(index).unary(res, src, &given);
  here.trace_diagnostic(VORN_POINT(diagnostic), given);
  here.count(given, operations::decode);
  // The rate is that of the rows from the first to the last one of the list, whether decoded or not.
  const bool empty = given.vorn_aux_ones_vec_size == 0;
  here.finish(VORN_POINT(time), empty ? 0 : given.vorn_aux_start_slot - given.vorn_aux_ones_vec[0], index);
  return code;
}

uint32_t vorn_decode_is_vorn_dict_type_supported(uint32_t layout) {
  return layout == VORN_DICT_ONE_LENGTH || layout == VORN_DICT_CLA ? 1 : 0;
}

} // extern "C"
