// Group keys: nothing is traced or timed.
#include "frame/entry_point.hpp"

using namespace vorn;

extern "C" uint32_t vorn_groupkey(const vorn_ctx *ctx, vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols,
                                  vorn_cv *tmp, vorn_aux *aux) {
  const vorn_global_ctx_t &global = vorn_global_ctx;
  if (!is_aligned(res->vorn_cv_bv, global.VORN_OUTPUT_BITWVEC_ALIGN))
    raise(*ctx, "vorn_groupkey: res is not aligned");
  if (aux == nullptr)
    raise(*ctx, "vorn_groupkey: vorn_aux is NULL");
  std::optional<vorn_aux> own;
  vorn_aux &given = aux_or_own(aux, own);
  if (given.vorn_aux_flags & VORN_AUX_INVERT_FILTER)
    raise(*ctx, "vorn_groupkey: invert filter not supported", aux);
  given.vorn_aux_diag_code = 0;
  given.vorn_aux_ctx = ctx;
  clear(given, shared_bit);
  const bool force_generic = ctx->vorn_ctx_flags & VORN_CTX_FORCE_GENERIC;
  return (force_generic ? vorn_groupkey_dydi : global.vorn_groupkey_dydi)(res, nkeys, cols, ncols, tmp, &given);
}
