// The dictionary predicates.  Each list calls its X once per kernel, with the width, the operation in both cases, for a
// range the one-sided operation of its first bound, and last the suffix of the form: nothing, or _null.

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

#define VORN_DICT_COMPARE_KERNELS(X) VORN_DICT_COMPARE_FORM(X, ) VORN_DICT_COMPARE_FORM(X, _null)
#define VORN_DICT_COMPARE_FORM(X, suffix)                                                                              \
  VORN_DICT_PREDICATE_WIDTHS(X, eq, EQ, suffix)                                                                        \
  VORN_DICT_PREDICATE_WIDTHS(X, lt, LT, suffix)                                                                        \
  VORN_DICT_PREDICATE_WIDTHS(X, gt, GT, suffix)                                                                        \
  VORN_DICT_PREDICATE_WIDTHS(X, le, LE, suffix)                                                                        \
  VORN_DICT_PREDICATE_WIDTHS(X, ge, GE, suffix)                                                                        \
  VORN_DICT_PREDICATE_WIDTHS(X, ne, NE, suffix)

#define VORN_DICT_RANGE_KERNELS(X) VORN_DICT_RANGE_FORM(X, ) VORN_DICT_RANGE_FORM(X, _null)
#define VORN_DICT_RANGE_FORM(X, suffix)                                                                                \
  VORN_DICT_PREDICATE_WIDTHS(X, gt_lt, GT_LT, gt, suffix)                                                              \
  VORN_DICT_PREDICATE_WIDTHS(X, gt_le, GT_LE, gt, suffix)                                                              \
  VORN_DICT_PREDICATE_WIDTHS(X, ge_lt, GE_LT, ge, suffix)                                                              \
  VORN_DICT_PREDICATE_WIDTHS(X, ge_le, GE_LE, ge, suffix)
