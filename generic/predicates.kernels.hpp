// The ten predicates of one encoding and width.  Each list calls X with the encoding in both cases, the width, the
// operation in both cases, for a range the one-sided operation of its first bound, and last the suffix of the form.

#define VORN_COMPARES(X, enc, ENC, w, suffix)                                                                          \
  X(enc, ENC, w, eq, EQ, suffix)                                                                                       \
  X(enc, ENC, w, lt, LT, suffix)                                                                                       \
  X(enc, ENC, w, gt, GT, suffix)                                                                                       \
  X(enc, ENC, w, le, LE, suffix)                                                                                       \
  X(enc, ENC, w, ge, GE, suffix)                                                                                       \
  X(enc, ENC, w, ne, NE, suffix)

#define VORN_RANGES(X, enc, ENC, w, suffix)                                                                            \
  X(enc, ENC, w, gt_lt, GT_LT, gt, suffix)                                                                             \
  X(enc, ENC, w, gt_le, GT_LE, gt, suffix)                                                                             \
  X(enc, ENC, w, ge_lt, GE_LT, ge, suffix)                                                                             \
  X(enc, ENC, w, ge_le, GE_LE, ge, suffix)
