// The seventeen operations that both families of bit vectors have: as declarations, and as definitions over the common
// algorithms.  Vector is void or uint64_t; a source that defines a family says what is its own:
//
//     unit              what is stored: uint8_t or uint64_t
//     end_mark          what an iterator returns at its end
//     bitvec_loops, ones_loop   the loops over whole words
#pragma once

#include <cstdint>

#include "frame/level.hpp"
#include "frame/vorn.h"

#define VORN_DECLARE_BIT_VECTORS(family, Vector)                                                                       \
  void vorn_##family##popcnt_dydi(uint32_t *popc, const Vector *bv, uint64_t nbits);                                   \
  void vorn_##family##not_dydi(Vector *dst, uint32_t *popc, const Vector *src, uint64_t nbits);                        \
  void vorn_##family##and_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, uint64_t nbits);         \
  void vorn_##family##or_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, uint64_t nbits);          \
  void vorn_##family##xor_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, uint64_t nbits);         \
  void vorn_##family##andnot_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, uint64_t nbits);      \
  void vorn_##family##and3_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, const Vector *c,        \
                                uint64_t nbits);                                                                       \
  void vorn_##family##or3_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, const Vector *c,         \
                               uint64_t nbits);                                                                        \
  void vorn_##family##xor3_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, const Vector *c,        \
                                uint64_t nbits);                                                                       \
  void vorn_##family##set_range_dydi(Vector *bv, uint64_t first, uint64_t last);                                       \
  void vorn_##family##clr_range_dydi(Vector *bv, uint64_t first, uint64_t last);                                       \
  void vorn_##family##_ictx_ini2_dydi(vorn_##family##_ictx *ictx, const Vector *bv, uint64_t nbits, uint8_t mode,      \
                                      uint64_t start);                                                                 \
  uint64_t vorn_##family##iter_dydi(vorn_##family##_ictx *ictx);                                                       \
  uint64_t vorn_##family##iter_clr_dydi(vorn_##family##_ictx *ictx);                                                   \
  uint32_t vorn_##family##ones_dydi(vorn_##family##_ictx *ictx, uint32_t *out, uint32_t max);                          \
  uint64_t vorn_##family##run_dydi(uint64_t, uint64_t);                                                                \
  uint64_t vorn_##family##runs_dydi(uint64_t, uint64_t, uint64_t, uint64_t);

#define VORN_DEFINE_COMBINATION2(family, Vector, op)                                                                   \
  void vorn_##family##op##_dydi(Vector *dst, uint32_t *popc, const Vector *a, const Vector *b, uint64_t nbits) {       \
    vorn::combine<unit, bitvec_loops>(vorn::bit_##op, dst, popc, nbits, a, b);                                         \
  }
#define VORN_DEFINE_COMBINATION3(family, Vector, op)                                                                   \
  void vorn_##family##op##3_dydi(Vector * dst, uint32_t * popc, const Vector *a, const Vector *b, const Vector *c,     \
                                 uint64_t nbits) {                                                                     \
    vorn::combine<unit, bitvec_loops>(vorn::bit_##op, dst, popc, nbits, a, b, c);                                      \
  }

// All but the start of an iterator, which depends on where a family's vectors begin.
#define VORN_DEFINE_BIT_VECTORS(family, Vector)                                                                        \
  void vorn_##family##popcnt_dydi(uint32_t *popc, const Vector *bv, uint64_t nbits) {                                  \
    vorn::count_ones<unit, bitvec_loops>(popc, bv, nbits);                                                             \
  }                                                                                                                    \
  void vorn_##family##not_dydi(Vector *dst, uint32_t *popc, const Vector *src, uint64_t nbits) {                       \
    vorn::combine<unit, bitvec_loops>(vorn::bit_not, dst, popc, nbits, src);                                           \
  }                                                                                                                    \
  VORN_DEFINE_COMBINATION2(family, Vector, and)                                                                        \
  VORN_DEFINE_COMBINATION2(family, Vector, or)                                                                         \
  VORN_DEFINE_COMBINATION2(family, Vector, xor)                                                                        \
  VORN_DEFINE_COMBINATION2(family, Vector, andnot)                                                                     \
  VORN_DEFINE_COMBINATION3(family, Vector, and)                                                                        \
  VORN_DEFINE_COMBINATION3(family, Vector, or)                                                                         \
  VORN_DEFINE_COMBINATION3(family, Vector, xor)                                                                        \
  void vorn_##family##set_range_dydi(Vector *bv, uint64_t first, uint64_t last) {                                      \
    vorn::fill_range<true>(bv, first, last);                                                                           \
  }                                                                                                                    \
  void vorn_##family##clr_range_dydi(Vector *bv, uint64_t first, uint64_t last) {                                      \
    vorn::fill_range<false>(bv, first, last);                                                                          \
  }                                                                                                                    \
  uint64_t vorn_##family##iter_dydi(vorn_##family##_ictx *ictx) {                                                      \
    return vorn::next_bit<unit, vorn::wanted::set>(*ictx, end_mark);                                                   \
  }                                                                                                                    \
  uint64_t vorn_##family##iter_clr_dydi(vorn_##family##_ictx *ictx) {                                                  \
    return vorn::next_bit<unit, vorn::wanted::clear>(*ictx, end_mark);                                                 \
  }                                                                                                                    \
  uint32_t vorn_##family##ones_dydi(vorn_##family##_ictx *ictx, uint32_t *out, uint32_t max) {                         \
    return ones_loop::list_ones<unit>(*ictx, out, max);                                                                \
  }                                                                                                                    \
  uint64_t vorn_##family##run_dydi(uint64_t, uint64_t) { return end_mark; }                                            \
  uint64_t vorn_##family##runs_dydi(uint64_t, uint64_t, uint64_t, uint64_t) { return 0; }
