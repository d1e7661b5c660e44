// Lists every kernel with a slot in the dispatch table once.  A list calls X for each kernel of a family, always with
// the same arguments.  The name of the kernel follows from the arguments:
//
//     X(op, OP, enc, ENC, width, suffix)     vorn_<op>_<enc>_<width>bit<suffix>
//
// The lists of ranges add the one-sided operation of the first bound.  A range reports its stream under that name.
#pragma once

#define VORN_KERNEL_NAME(op, enc, w, suffix) vorn_##op##_##enc##_##w##bit##suffix

// Calls EACH(width, ...) for the widths of dictionary codes.
#define VORN_DICT_WIDTHS(EACH, ...)                                                                                    \
  EACH(1, __VA_ARGS__)                                                                                                 \
  EACH(2, __VA_ARGS__)                                                                                                 \
  EACH(3, __VA_ARGS__)                                                                                                 \
  EACH(4, __VA_ARGS__)                                                                                                 \
  EACH(5, __VA_ARGS__)                                                                                                 \
  EACH(6, __VA_ARGS__)                                                                                                 \
  EACH(7, __VA_ARGS__)                                                                                                 \
  EACH(8, __VA_ARGS__)                                                                                                 \
  EACH(9, __VA_ARGS__)                                                                                                 \
  EACH(10, __VA_ARGS__)                                                                                                \
  EACH(11, __VA_ARGS__)                                                                                                \
  EACH(12, __VA_ARGS__)                                                                                                \
  EACH(13, __VA_ARGS__)                                                                                                \
  EACH(14, __VA_ARGS__)                                                                                                \
  EACH(15, __VA_ARGS__)                                                                                                \
  EACH(16, __VA_ARGS__)                                                                                                \
  EACH(17, __VA_ARGS__)                                                                                                \
  EACH(18, __VA_ARGS__)                                                                                                \
  EACH(19, __VA_ARGS__)                                                                                                \
  EACH(20, __VA_ARGS__)                                                                                                \
  EACH(24, __VA_ARGS__)                                                                                                \
  EACH(32, __VA_ARGS__)

// The predicates of one encoding, one width and one form.
#define VORN_COMPARES(w, X, enc, ENC, suffix)                                                                          \
  X(eq, EQ, enc, ENC, w, suffix)                                                                                       \
  X(lt, LT, enc, ENC, w, suffix)                                                                                       \
  X(gt, GT, enc, ENC, w, suffix)                                                                                       \
  X(le, LE, enc, ENC, w, suffix)                                                                                       \
  X(ge, GE, enc, ENC, w, suffix)                                                                                       \
  X(ne, NE, enc, ENC, w, suffix)
#define VORN_RANGES(w, X, enc, ENC, suffix)                                                                            \
  X(gt_lt, GT_LT, enc, ENC, w, suffix, gt)                                                                             \
  X(gt_le, GT_LE, enc, ENC, w, suffix, gt)                                                                             \
  X(ge_lt, GE_LT, enc, ENC, w, suffix, ge)                                                                             \
  X(ge_le, GE_LE, enc, ENC, w, suffix, ge)

// Dictionary codes, plain and with NULL.
#define VORN_DICT_FORM(PREDICATES, X, suffix)                                                                          \
  VORN_DICT_WIDTHS(PREDICATES, X, dict, DICT, suffix)                                                                  \
  PREDICATES(64, X, dict, DICT, suffix)
#define VORN_DICT_FORMS(PREDICATES, X)                                                                                 \
  VORN_DICT_FORM(PREDICATES, X, )                                                                                      \
  VORN_DICT_FORM(PREDICATES, X, _null)
#define VORN_DICT_COMPARE_KERNELS(X) VORN_DICT_FORMS(VORN_COMPARES, X)
#define VORN_DICT_RANGE_KERNELS(X)   VORN_DICT_FORMS(VORN_RANGES, X)

// Fixed values, plain and with the second key.
#define VORN_FIXED_FORM(PREDICATES, X, suffix)                                                                         \
  PREDICATES(8, X, fixed, FIXED, suffix)                                                                               \
  PREDICATES(16, X, fixed, FIXED, suffix)                                                                              \
  PREDICATES(32, X, fixed, FIXED, suffix)                                                                              \
  PREDICATES(64, X, fixed, FIXED, suffix)
#define VORN_FIXED_FORMS(PREDICATES, X)                                                                                \
  VORN_FIXED_FORM(PREDICATES, X, )                                                                                     \
  VORN_FIXED_FORM(PREDICATES, X, _tz)
#define VORN_FIXED_COMPARE_KERNELS(X) VORN_FIXED_FORMS(VORN_COMPARES, X)
#define VORN_FIXED_RANGE_KERNELS(X)   VORN_FIXED_FORMS(VORN_RANGES, X)

// Dynamic-packed values, plain and with the second key.
#define VORN_DYNP_FORM(PREDICATES, X, suffix)                                                                          \
  PREDICATES(16, X, dynp, DYNP, suffix)                                                                                \
  PREDICATES(32, X, dynp, DYNP, suffix)                                                                                \
  PREDICATES(64, X, dynp, DYNP, suffix)
#define VORN_DYNP_FORMS(PREDICATES, X)                                                                                 \
  VORN_DYNP_FORM(PREDICATES, X, )                                                                                      \
  VORN_DYNP_FORM(PREDICATES, X, _tz)
#define VORN_DYNP_COMPARE_KERNELS(X) VORN_DYNP_FORMS(VORN_COMPARES, X)
#define VORN_DYNP_RANGE_KERNELS(X)   VORN_DYNP_FORMS(VORN_RANGES, X)

// Set membership and the decoders of dictionary codes.
#define VORN_DICT_KERNEL(w, X, op, OP) X(op, OP, dict, DICT, w, )
#define VORN_DICT_SET_KERNELS(X)       VORN_DICT_WIDTHS(VORN_DICT_KERNEL, X, set, SET)
#define VORN_DICT_DECODE_KERNELS(X)    VORN_DICT_WIDTHS(VORN_DICT_KERNEL, X, decode, DECODE)
#define VORN_DICT_UNPACK_KERNELS(X)    VORN_DICT_WIDTHS(VORN_DICT_KERNEL, X, decode_unpack, DECODE_UNPACK)
#define VORN_DICT_SYMBOL_KERNELS(X)                                                                                    \
  VORN_DICT_KERNEL(8, X, decode_symbol, DECODE_SYMBOL)                                                                 \
  VORN_DICT_KERNEL(16, X, decode_symbol, DECODE_SYMBOL)                                                                \
  VORN_DICT_KERNEL(32, X, decode_symbol, DECODE_SYMBOL)

// Bursts, by the width of run lengths, without and with a CLA.
#define VORN_RLE_BURST_KERNELS(X)                                                                                      \
  X(burst, BURST, rle, RLE, 8, )                                                                                       \
  X(burst, BURST, rle, RLE, 8, _cla)                                                                                   \
  X(burst, BURST, rle, RLE, 16, )                                                                                      \
  X(burst, BURST, rle, RLE, 16, _cla)

// Kernels that do nothing.  Sum and distinct have slots but no operation.
#define VORN_PLACEHOLDER_KERNELS(X)                                                                                    \
  X(sum, SUM, fixed, FIXED, 8, )                                                                                       \
  X(sum, SUM, fixed, FIXED, 16, )                                                                                      \
  X(sum, SUM, fixed, FIXED, 32, )                                                                                      \
  X(sum, SUM, fixed, FIXED, 64, )                                                                                      \
  VORN_DICT_WIDTHS(VORN_DICT_KERNEL, X, sum, SUM)                                                                      \
  VORN_DICT_WIDTHS(VORN_DICT_KERNEL, X, distinct, DISTINCT)

// The slots of some kernels do not follow from an encoding and a width.  Their lists begin with the name and the bits
// of the slot:
//
//     X(name, OP, ENC, code, flag, axes...)

// Translation.  The encoding bits are the kind of the table.  The width code is the width of an entry.  The flag says
// that the kernel stores codes.
#define VORN_XLATE_KIND(X, kind, ENC)                                                                                  \
  X(vorn_xlate_##kind##_bit, XLATE, ENC, 0, false, kind, bit)                                                          \
  X(vorn_xlate_##kind##_nib, XLATE, ENC, 1, false, kind, nib)                                                          \
  X(vorn_xlate_##kind##_ub1, XLATE, ENC, 2, false, kind, ub1)                                                          \
  X(vorn_xlate_##kind##_ub2, XLATE, ENC, 3, false, kind, ub2)                                                          \
  X(vorn_xlate_##kind##_ub4, XLATE, ENC, 4, false, kind, ub4)                                                          \
  VORN_XLATE_C2D(X, kind, ENC)
#define VORN_XLATE_C2D(X, kind, ENC)                                                                                   \
  X(vorn_xlate_##kind##_nib_c2d, XLATE, ENC, 1, true, kind, nib)                                                       \
  X(vorn_xlate_##kind##_ub1_c2d, XLATE, ENC, 2, true, kind, ub1)                                                       \
  X(vorn_xlate_##kind##_ub2_c2d, XLATE, ENC, 3, true, kind, ub2)                                                       \
  X(vorn_xlate_##kind##_ub4_c2d, XLATE, ENC, 4, true, kind, ub4)
#define VORN_XLATE_KERNELS(X)                                                                                          \
  VORN_XLATE_KIND(X, sim, FIXED)                                                                                       \
  VORN_XLATE_KIND(X, off, DICT)                                                                                        \
  VORN_XLATE_KIND(X, ind, DYNP)
#define VORN_XLATE_GROUPKEY_KERNELS(X) VORN_XLATE_C2D(X, groupkey, RLE)

// Arithmetic.  The width code has a bit for double and a bit for each canonical operand.  The flag says that the kernel
// sums the rows.
#define VORN_ARITH_FORMS(X, op, OP, type, code)                                                                        \
  VORN_ARITH_FORM(X, op, OP, type, code, n, n)                                                                         \
  VORN_ARITH_FORM(X, op, OP, type, code | 4, c, n)                                                                     \
  VORN_ARITH_FORM(X, op, OP, type, code | 8, n, c)                                                                     \
  VORN_ARITH_FORM(X, op, OP, type, code | 12, c, c)
#define VORN_ARITH_FORM(X, op, OP, type, code, left, right)                                                            \
  X(vorn_##op##_##type##_##left##_##right, OP, FIXED, code, false, op, type, left, right)                              \
  X(vorn_##op##_##type##_##left##_##right##_sum, OP, FIXED, code, true, op, type, left, right)
#define VORN_ARITH_OPERATION(X, op, OP)                                                                                \
  VORN_ARITH_FORMS(X, op, OP, float, 0)                                                                                \
  VORN_ARITH_FORMS(X, op, OP, double, 1)
#define VORN_ARITH_KERNELS(X)                                                                                          \
  VORN_ARITH_OPERATION(X, add, ADD)                                                                                    \
  VORN_ARITH_OPERATION(X, sub, SUB)                                                                                    \
  VORN_ARITH_OPERATION(X, mul, MUL)

// The families: F(family, list, shape of its kernels, number of its kernels).  Lists of the second kind are "named".
//
// Every level has kernels of the families of scans and unpackers.  A level with a base level has no kernels of the
// other families.
#define VORN_OWN_FAMILIES(F)                                                                                           \
  F(dict_compares, VORN_DICT_COMPARE_KERNELS, binary, 276)                                                             \
  F(dict_ranges, VORN_DICT_RANGE_KERNELS, ternary, 184)                                                                \
  F(fixed_compares, VORN_FIXED_COMPARE_KERNELS, binary, 48)                                                            \
  F(fixed_ranges, VORN_FIXED_RANGE_KERNELS, ternary, 32)                                                               \
  F(dynp_compares, VORN_DYNP_COMPARE_KERNELS, binary, 36)                                                              \
  F(dynp_ranges, VORN_DYNP_RANGE_KERNELS, ternary, 24)                                                                 \
  F(dict_sets, VORN_DICT_SET_KERNELS, binary, 22)                                                                      \
  F(dict_unpacks, VORN_DICT_UNPACK_KERNELS, unary, 22)
#define VORN_BASE_FAMILIES(F)                                                                                          \
  F(dict_decodes, VORN_DICT_DECODE_KERNELS, unary, 22)                                                                 \
  F(dict_symbols, VORN_DICT_SYMBOL_KERNELS, unary, 3)                                                                  \
  F(rle_bursts, VORN_RLE_BURST_KERNELS, unary, 4)                                                                      \
  F(placeholders, VORN_PLACEHOLDER_KERNELS, binary, 48)                                                                \
  F(xlates, VORN_XLATE_KERNELS, named, 27)                                                                             \
  F(xlate_groupkeys, VORN_XLATE_GROUPKEY_KERNELS, named, 4)                                                            \
  F(ariths, VORN_ARITH_KERNELS, named, 48)
#define VORN_FAMILIES(F)                                                                                               \
  VORN_OWN_FAMILIES(F)                                                                                                 \
  VORN_BASE_FAMILIES(F)
