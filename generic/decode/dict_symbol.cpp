// The kernels that decode unpacked dictionary codes.
#include "generic/decode/symbol.hpp"
#include "generic/families.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_SYMBOL(op, OP, enc, ENC, w, suffix)                                                                \
  uint32_t vorn_decode_symbol_dict_##w##bit(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                               \
    return vorn::decode_unpacked<w>(res, src, aux);                                                                    \
  }
VORN_DICT_SYMBOL_KERNELS(VORN_DEFINE_SYMBOL)

VORN_KERNELS_END
