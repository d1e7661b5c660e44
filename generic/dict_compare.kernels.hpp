// The predicates over dictionary codes, plain and with NULL, and the widths of the dictionary families.
#include "generic/predicates.kernels.hpp"

#define VORN_DICT_WIDTHS(X, ...)                                                                                       \
  X(1, __VA_ARGS__)                                                                                                    \
  X(2, __VA_ARGS__)                                                                                                    \
  X(3, __VA_ARGS__)                                                                                                    \
  X(4, __VA_ARGS__)                                                                                                    \
  X(5, __VA_ARGS__)                                                                                                    \
  X(6, __VA_ARGS__)                                                                                                    \
  X(7, __VA_ARGS__)                                                                                                    \
  X(8, __VA_ARGS__)                                                                                                    \
  X(9, __VA_ARGS__)                                                                                                    \
  X(10, __VA_ARGS__)                                                                                                   \
  X(11, __VA_ARGS__)                                                                                                   \
  X(12, __VA_ARGS__)                                                                                                   \
  X(13, __VA_ARGS__)                                                                                                   \
  X(14, __VA_ARGS__)                                                                                                   \
  X(15, __VA_ARGS__)                                                                                                   \
  X(16, __VA_ARGS__)                                                                                                   \
  X(17, __VA_ARGS__)                                                                                                   \
  X(18, __VA_ARGS__)                                                                                                   \
  X(19, __VA_ARGS__)                                                                                                   \
  X(20, __VA_ARGS__)                                                                                                   \
  X(24, __VA_ARGS__)                                                                                                   \
  X(32, __VA_ARGS__)

#define VORN_DICT_PREDICATE_WIDTHS(X, ...) VORN_DICT_WIDTHS(X, __VA_ARGS__) X(64, __VA_ARGS__)

#define VORN_DICT_FORMS(EACH, X)                                                                                       \
  VORN_DICT_PREDICATE_WIDTHS(EACH, X, )                                                                                \
  VORN_DICT_PREDICATE_WIDTHS(EACH, X, _null)
#define VORN_DICT_COMPARES(w, X, suffix) VORN_COMPARES(X, dict, DICT, w, suffix)
#define VORN_DICT_RANGES(w, X, suffix)   VORN_RANGES(X, dict, DICT, w, suffix)

#define VORN_DICT_COMPARE_KERNELS(X) VORN_DICT_FORMS(VORN_DICT_COMPARES, X)
#define VORN_DICT_RANGE_KERNELS(X)   VORN_DICT_FORMS(VORN_DICT_RANGES, X)
