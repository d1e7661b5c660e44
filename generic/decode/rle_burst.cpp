// The burst kernels.
#include "frame/assertion.hpp"
#include "generic/decode/burst.hpp"
#include "generic/families.hpp"

namespace {

// The suffix of a kernel selects one of these.
template <unsigned Bits>
using runs = vorn::summed_runs<Bits>;
template <unsigned Bits>
using runs_cla = vorn::indexed_runs;

} // namespace

VORN_KERNELS_BEGIN

// The assertions stand in the kernels, since an assertion names its function.
#define VORN_DEFINE_BURST(op, OP, enc, ENC, w, suffix)                                                                 \
  uint32_t vorn_burst_rle_##w##bit##suffix(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                                \
    VORN_ASSERT(src->vorn_cv_encoding_context->vorn_enc_ctx_flags &VORN_RLE,                                           \
                "(((((src)->vorn_cv_encoding_context))->vorn_enc_ctx_flags) & (VORN_RLE))", "generic/vornc_generic");  \
    VORN_ASSERT(res->vorn_cv_bv != aux->vorn_aux_filter_bv, "vorn_bv_res != vorn_bv_aux", "generic/vornc_generic");    \
    return vorn::burst<runs##suffix<w>>(res, src, aux);                                                                \
  }
VORN_RLE_BURST_KERNELS(VORN_DEFINE_BURST)

VORN_KERNELS_END
