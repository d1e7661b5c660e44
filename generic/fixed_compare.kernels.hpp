// The predicates over fixed values, plain and with the second key.
#include "generic/predicates.kernels.hpp"

#define VORN_FIXED_FORMS(PREDICATES, X)                                                                                \
  PREDICATES(X, fixed, FIXED, 8, )                                                                                     \
  PREDICATES(X, fixed, FIXED, 16, )                                                                                    \
  PREDICATES(X, fixed, FIXED, 32, )                                                                                    \
  PREDICATES(X, fixed, FIXED, 64, )                                                                                    \
  PREDICATES(X, fixed, FIXED, 8, _tz)                                                                                  \
  PREDICATES(X, fixed, FIXED, 16, _tz)                                                                                 \
  PREDICATES(X, fixed, FIXED, 32, _tz)                                                                                 \
  PREDICATES(X, fixed, FIXED, 64, _tz)

#define VORN_FIXED_COMPARE_KERNELS(X) VORN_FIXED_FORMS(VORN_COMPARES, X)
#define VORN_FIXED_RANGE_KERNELS(X)   VORN_FIXED_FORMS(VORN_RANGES, X)
