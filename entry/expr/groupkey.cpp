// Group keys.  A call is neither traced nor timed.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_groupkey(const vorn_ctx *ctx, vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols,
                                  vorn_cv *tmp, vorn_aux *aux) {
  const vorn_global_ctx_t &global = vorn_global_ctx;
  if (global.vorn_groupkey_dydi == nullptr)
    return VORN_RESULT_NO_IMPLEMENTATION;
  const entry_point call(*ctx);
  call.check(is_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN), "vorn_groupkey: res is not aligned");
  call.check(aux != nullptr, "vorn_groupkey: vorn_aux is NULL");
  std::optional<vorn_aux> own;
  vorn_aux &kernel_aux = aux_or_own(aux, own);
  call.check(!(kernel_aux.vorn_aux_flags & VORN_AUX_INVERT_FILTER), "vorn_groupkey: invert filter not supported", aux);
  call.prepare(kernel_aux);
  clear(kernel_aux, shared_bit);
  const auto kernel = call.force_generic() ? vorn_groupkey_dydi : global.vorn_groupkey_dydi;
  return kernel(res, nkeys, cols, ncols, tmp, &kernel_aux);
}
