// The decoders of dictionary codes: X(width).
#include "generic/dict_compare.kernels.hpp"

#define VORN_DECODER_OF(w, X)       X(w)
#define VORN_DICT_DECODE_KERNELS(X) VORN_DICT_WIDTHS(VORN_DECODER_OF, X)
#define VORN_DICT_SYMBOL_KERNELS(X)                                                                                    \
  X(8)                                                                                                                 \
  X(16)                                                                                                                \
  X(32)
