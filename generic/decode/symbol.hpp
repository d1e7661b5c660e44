// The decoders of unpacked codes.  They find the value of every element of an array, as an address or as a copy.
#pragma once

#include "generic/decode/symbols.hpp"

namespace vorn::inline VORN_LEVEL {

// The codes of an array of elements.
template <class Element>
class element_codes {
public:
  explicit element_codes(const vorn_cv &src)
      : bytes_(static_cast<const uint8_t *>(src.vorn_cv_vals)), n_(src.vorn_cv_nrows) {}

  uint32_t operator()(uint32_t i) const {
    Element code;
    std::memcpy(&code, bytes_ + uint64_t{i} * sizeof code, sizeof code);
    return code;
  }

  template <class Symbols>
  void write(const Symbols &symbols, const symbol_arrays &out) const {
    write_symbols(out, 0, n_, symbols, *this);
  }

private:
  const uint8_t *bytes_;
  uint32_t n_;
};

template <class Element>
uint32_t decode_elements(vorn_cv *res, const vorn_cv *src) {
  return decode_symbols(res, *src->vorn_cv_encoding_context, src->vorn_cv_nrows, element_codes<Element>(*src));
}

// Copies the values, back to back.
inline uint32_t copy_values(vorn_cv *res, const vorn_cv *src) {
  const equal_symbols symbols(*src->vorn_cv_encoding_context);
  const element_codes<uint32_t> code(*src);
  const uint32_t length = symbols.length();
  auto *out = static_cast<uint8_t *>(res->vorn_cv_vals);
  if (length == 1) { // a byte is stored without a call of memcpy
    for (uint32_t i = 0; i < src->vorn_cv_nrows; ++i)
      out[i] = *symbols.address(code(i));
  } else if (length != 0) {
    for (uint32_t i = 0; i < src->vorn_cv_nrows; ++i, out += length)
      std::memcpy(out, symbols.address(code(i)), length);
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

} // namespace vorn::inline VORN_LEVEL
