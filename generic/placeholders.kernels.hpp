// Kernels that do nothing: sum and distinct have slots but no operation yet.  X(operation in both cases, encoding in
// both cases, width).
#include "generic/dict_compare.kernels.hpp"

#define VORN_PLACEHOLDER_DICT(w, X, op, OP) X(op, OP, dict, DICT, w)

#define VORN_PLACEHOLDER_KERNELS(X)                                                                                    \
  X(sum, SUM, fixed, FIXED, 8)                                                                                         \
  X(sum, SUM, fixed, FIXED, 16)                                                                                        \
  X(sum, SUM, fixed, FIXED, 32)                                                                                        \
  X(sum, SUM, fixed, FIXED, 64)                                                                                        \
  VORN_DICT_WIDTHS(VORN_PLACEHOLDER_DICT, X, sum, SUM)                                                                 \
  VORN_DICT_WIDTHS(VORN_PLACEHOLDER_DICT, X, distinct, DISTINCT)
