// The kernels of set membership over dictionary codes: 22 slots and their 22 selective twins.
#include "generic/engine.hpp"
#include "generic/families.hpp"
#include "generic/scan/membership.hpp"
#include "generic/scan/scan.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_SET(op, OP, enc, ENC, w, suffix)                                                                   \
  static uint32_t vorn_set_dict_##w##bit_selective(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);                 \
  static constexpr vorn::set_kernel kernel_##w = {VORN_STREAM_TEXTS("vorn_set_dict_" #w "bit"),                        \
                                                  vorn_set_dict_##w##bit_selective};                                   \
  uint32_t vorn_set_dict_##w##bit(vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux) {                     \
    return vorn::scan<vorn::engine::dict_rows<w>>(kernel_##w, res, src, set, set, aux);                                \
  }                                                                                                                    \
  uint32_t vorn_set_dict_##w##bit_selective(vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux) {           \
    return vorn::scan_selective<vorn::engine::dict_rows<w>>(kernel_##w, res, src, set, set, aux);                      \
  }
VORN_DICT_SET_KERNELS(VORN_DEFINE_SET)

VORN_KERNELS_END
