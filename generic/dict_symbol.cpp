// The decoders of unpacked codes: the value of every element of an array, as an address or as a copy.
#include "generic/dict_decode.kernels.hpp"
#include "generic/symbols.hpp"

namespace vorn {

namespace {

template <class Element>
class elements {
public:
  explicit elements(const vorn_cv &src) : bytes_(static_cast<const uint8_t *>(src.vorn_cv_vals)) {}

  uint32_t operator()(uint32_t i) const {
    Element code;
    std::memcpy(&code, bytes_ + uint64_t{i} * sizeof code, sizeof code);
    return code;
  }

private:
  const uint8_t *bytes_;
};

template <class Element>
uint32_t decode_elements(vorn_cv *res, const vorn_cv *src) {
  return decode_symbols(res, *src->vorn_cv_encoding_context, src->vorn_cv_nrows,
                        [&] { return elements<Element>(*src); });
}

// The values themselves, back to back.
uint32_t copy_values(vorn_cv *res, const vorn_cv *src) {
  const equal_symbols symbols(*src->vorn_cv_encoding_context);
  const elements<uint32_t> code(*src);
  const uint32_t length = symbols.length();
  auto *out = static_cast<uint8_t *>(res->vorn_cv_vals);
  if (length == 1) { // a store, not a call
    for (uint32_t i = 0; i < src->vorn_cv_nrows; ++i)
      out[i] = *symbols.at(code(i)).bytes;
  } else if (length != 0) {
    for (uint32_t i = 0; i < src->vorn_cv_nrows; ++i, out += length)
      std::memcpy(out, symbols.at(code(i)).bytes, length);
  }
  res->vorn_cv_popc = src->vorn_cv_nrows;
  return VORN_RESULT_DONE;
}

template <unsigned W>
uint32_t decode_unpacked(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  if (W == 32 && src->vorn_cv_encoding_context->vorn_enc_ctx_dict_layout == VORN_DICT_ONE_LENGTH &&
      (aux->vorn_aux_flags2 & VORN_AUX_COPY_VALUES))
    return copy_values(res, src);
  return aux->vorn_aux_flags & VORN_AUX_UNPACK_UB4 ? decode_elements<uint32_t>(res, src)
                                                   : decode_elements<lane<W>>(res, src);
}

} // namespace

} // namespace vorn

#define VORN_DEFINE_SYMBOL(w)                                                                                          \
  extern "C" uint32_t vorn_decode_symbol_dict_##w##bit(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                    \
    return vorn::decode_unpacked<w>(res, src, aux);                                                                    \
  }
VORN_DICT_SYMBOL_KERNELS(VORN_DEFINE_SYMBOL)
