// The decoders of packed codes: the values of a list of rows.
#include "frame/operations.hpp"
#include "generic/codes.hpp"
#include "generic/dict_decode.kernels.hpp"
#include "generic/symbols.hpp"

namespace vorn {

namespace {

template <unsigned W>
uint32_t decode(const stream_texts &texts, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const uint32_t *rows = aux->vorn_aux_ones_vec;
  const uint32_t n = aux->vorn_aux_ones_vec_size;
  const auto open = [&] {
    const code_reader<W> codes(obtain_stream(*src, *aux, texts), ncodes_of(*src));
    return [=](uint32_t i) { return static_cast<uint32_t>(codes.at(rows[i])); };
  };
  const uint32_t code = decode_symbols(res, *src->vorn_cv_encoding_context, n, open);
  if (code != VORN_RESULT_DONE)
    return code;
  if (n != 0)
    aux->vorn_aux_start_slot = rows[n - 1];
  set(*aux, operations::decode.selective);
  return VORN_RESULT_DONE;
}

} // namespace

} // namespace vorn

#define VORN_DEFINE_DECODE(w)                                                                                          \
  extern "C" uint32_t vorn_decode_dict_##w##bit(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                           \
    return vorn::decode<w>(VORN_STREAM_TEXTS("vorn_decode_dict_" #w "bit"), res, src, aux);                            \
  }
VORN_DICT_DECODE_KERNELS(VORN_DEFINE_DECODE)
