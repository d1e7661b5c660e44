// The kernels that decode packed dictionary codes.
#include "generic/decode/decode.hpp"
#include "generic/engine.hpp"
#include "generic/families.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_DECODE(op, OP, enc, ENC, w, suffix)                                                                \
  uint32_t vorn_decode_dict_##w##bit(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                                      \
    static constexpr vorn::stream_texts texts = VORN_STREAM_TEXTS("vorn_decode_dict_" #w "bit");                       \
    return vorn::decode(texts, vorn::decode_steps_of<vorn::engine::steps, w>, res, src, aux);                          \
  }
VORN_DICT_DECODE_KERNELS(VORN_DEFINE_DECODE)

VORN_KERNELS_END
