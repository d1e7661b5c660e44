// The kernels of set membership over dictionary codes: 22 slots and their 22 selective twins.
#include "generic/dict.hpp"
#include "generic/dict_set.kernels.hpp"
#include "generic/membership.hpp"

using namespace vorn;

extern "C" {

#define VORN_DEFINE_SET(w)                                                                                             \
  static uint32_t vorn_set_dict_##w##bit_selective(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);                 \
  static constexpr set_kernel kernel_##w = {VORN_STREAM_TEXTS("vorn_set_dict_" #w "bit"),                              \
                                            vorn_set_dict_##w##bit_selective};                                         \
  uint32_t vorn_set_dict_##w##bit(vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux) {                     \
    return scan<dict<w>>(kernel_##w, res, src, set, set, aux);                                                         \
  }                                                                                                                    \
  uint32_t vorn_set_dict_##w##bit_selective(vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux) {           \
    return scan_selective<dict<w>>(kernel_##w, res, src, set, set, aux);                                               \
  }
VORN_DICT_SET_KERNELS(VORN_DEFINE_SET)

} // extern "C"
