// The predicates over dynamic-packed values, plain and with the second key.
#include "generic/predicates.kernels.hpp"

#define VORN_DYNP_FORMS(PREDICATES, X)                                                                                 \
  PREDICATES(X, dynp, DYNP, 16, )                                                                                      \
  PREDICATES(X, dynp, DYNP, 32, )                                                                                      \
  PREDICATES(X, dynp, DYNP, 64, )                                                                                      \
  PREDICATES(X, dynp, DYNP, 16, _tz)                                                                                   \
  PREDICATES(X, dynp, DYNP, 32, _tz)                                                                                   \
  PREDICATES(X, dynp, DYNP, 64, _tz)

#define VORN_DYNP_COMPARE_KERNELS(X) VORN_DYNP_FORMS(VORN_COMPARES, X)
#define VORN_DYNP_RANGE_KERNELS(X)   VORN_DYNP_FORMS(VORN_RANGES, X)
