// The kernels that unpack dictionary codes.
#include "frame/names.hpp"
#include "generic/decode/unpack.hpp"
#include "generic/decode/unpackers.hpp"
#include "generic/engine.hpp"
#include "generic/families.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_UNPACK(op, OP, enc, ENC, w, suffix)                                                                \
  uint32_t vorn_decode_unpack_dict_##w##bit(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                               \
    static constexpr vorn::unpack_texts texts = {VORN_STREAM_TEXTS("vorn_decode_unpack_dict_" #w "bit"),               \
                                                 "vorn_decode_unpack_dict_" #w "bit: [rle] ones_vec size is zero"};    \
    return vorn::unpack<vorn::engine::steps, w>(texts, res, src, aux);                                                 \
  }
VORN_DICT_UNPACK_KERNELS(VORN_DEFINE_UNPACK)

VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

constinit const std::array<unpack_kernel, 256> unpackers = [] {
  std::array<unpack_kernel, 256> by_code = {};
#define VORN_UNPACKER(op, OP, enc, ENC, w, suffix)                                                                     \
  by_code[width_code(w) << 2 | VORN_ENC_##ENC] = {VORN_KERNEL_NAME(op, enc, w, suffix), sizeof(lane<w>)};
  VORN_DICT_UNPACK_KERNELS(VORN_UNPACKER)
  return by_code;
}();

} // namespace vorn::inline VORN_LEVEL
