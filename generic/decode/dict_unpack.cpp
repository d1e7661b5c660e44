// The kernels that unpack dictionary codes.
#include "generic/decode/unpack.hpp"
#include "generic/families.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_UNPACK(op, OP, enc, ENC, w, suffix)                                                                \
  uint32_t vorn_decode_unpack_dict_##w##bit(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                               \
    static constexpr vorn::unpack_texts texts = {VORN_STREAM_TEXTS("vorn_decode_unpack_dict_" #w "bit"),               \
                                                 "vorn_decode_unpack_dict_" #w "bit: [rle] ones_vec size is zero"};    \
    return vorn::unpack<vorn::code_steps, w>(texts, res, src, aux);                                                    \
  }
VORN_DICT_UNPACK_KERNELS(VORN_DEFINE_UNPACK)

VORN_KERNELS_END
