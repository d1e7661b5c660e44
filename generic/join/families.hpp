// Every kernel of the joins, by name and axes.  A family is a list that expands to definitions and to the entries of
// its members; the entries say where a member stands among the axes, and compilation stops when two stand at one place
// or their number is off.  In which order an operation looks at flags stands beside the definitions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/level.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

template <class Function>
struct join_member {
  const char *name;
  uint32_t place;
  Function *function;
};

template <class Function, size_t Count>
using join_family = std::array<join_member<Function>, Count>;

// Not constant: a call stops the compilation.
void two_members_claim_a_place();
void members_are_missing();

// The functions of a family by place; null where there is no member.
template <uint32_t Places, class Function, size_t Count>
consteval std::array<Function *, Places> by_place(const join_family<Function, Count> &members) {
  std::array<Function *, Places> functions = {};
  for (const auto &[name, place, function] : members) {
    if (name == nullptr)
      members_are_missing();
    if (functions[place] != nullptr)
      two_members_claim_a_place();
    functions[place] = function;
  }
  return functions;
}

using hash_kernel = uint32_t(vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn);
using build_kernel = uint32_t(vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part, vorn_hashfn hashfn,
                              vorn_aux *aux);
using probe_kernel = uint32_t(vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht, vorn_hashfn hashfn,
                              vorn_aux *aux);
using partition_kernel = uint32_t(vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload, vorn_hashfn hashfn,
                                  vorn_aux *aux);
using gather_kernel = uint32_t(vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl, vorn_aux *aux);

extern const join_family<hash_kernel, 12> hash_members;
extern const join_family<build_kernel, 57> build_members;
extern const join_family<probe_kernel, 52> probe_members;
extern const join_family<partition_kernel, 52> partition_members;
extern const join_family<gather_kernel, 126> gather_members;
extern const join_family<gather_kernel, 6> gather_direct_members;

} // namespace vorn::inline VORN_LEVEL

// EACH(form, ...) for the forms in which a vector has values, and for those of keys.
#define VORN_VALUE_FORMS(EACH, ...)                                                                                    \
  EACH(fixed, __VA_ARGS__)                                                                                             \
  EACH(lv_sep, __VA_ARGS__)                                                                                            \
  EACH(lv, __VA_ARGS__)                                                                                                \
  EACH(lp_sep, __VA_ARGS__)                                                                                            \
  EACH(lp, __VA_ARGS__)
#define VORN_KEY_FORMS(EACH, ...)                                                                                      \
  VORN_VALUE_FORMS(EACH, __VA_ARGS__)                                                                                  \
  EACH(hash_values, __VA_ARGS__)

// X(seeds, form)     vorn_hash_hashfn_<seeds>_<form>
#define VORN_HASH_FORM(form, X)                                                                                        \
  X(const, form)                                                                                                       \
  X(stream, form)
#define VORN_HASH_KERNELS(X)                                                                                           \
  VORN_VALUE_FORMS(VORN_HASH_FORM, X)                                                                                  \
  VORN_HASH_FORM(dict, X)

// X(name, layout, form, values)     vorn_ht_build_<name>, vorn_ht_probe_<name>
#define VORN_LAYOUT_FORM(form, X, layout)                                                                              \
  X(layout##_##form##_autorid, layout, form, autorid)                                                                  \
  X(layout##_##form##_payload, layout, form, payload)
#define VORN_PROBE_KERNELS(X)                                                                                          \
  VORN_KEY_FORMS(VORN_LAYOUT_FORM, X, k2v4)                                                                            \
  VORN_KEY_FORMS(VORN_LAYOUT_FORM, X, k2v8)                                                                            \
  VORN_KEY_FORMS(VORN_LAYOUT_FORM, X, k4v4)                                                                            \
  VORN_KEY_FORMS(VORN_LAYOUT_FORM, X, k4v8)                                                                            \
  VORN_LAYOUT_FORM(gd, X, k4v4)                                                                                        \
  VORN_LAYOUT_FORM(gd, X, k4v8)
#define VORN_BUILD_KERNELS(X)                                                                                          \
  VORN_PROBE_KERNELS(X)                                                                                                \
  X(k2v4_hashrid, k2v4, hashrid, record)                                                                               \
  X(k2v8_hashrid, k2v8, hashrid, record)                                                                               \
  X(k4v4_hashrid, k4v4, hashrid, record)                                                                               \
  X(k4v8_hashrid, k4v8, hashrid, record)                                                                               \
  X(k4v8_hashgdrid, k4v8, hashgdrid, record)

// X(name, output, form, payload)     vorn_partition_<name>
#define VORN_PARTITION_RID_FORM(form, X)                                                                               \
  X(rid_##form##_autorid, rid, form, autorid)                                                                          \
  X(rid_##form##_payload, rid, form, payload)
#define VORN_PARTITION_LV_FORM(form, X)                                                                                \
  X(lv_##form##_fixed, lv, form, fixed)                                                                                \
  X(lv_##form##_lv_sep, lv, form, lv_sep)                                                                              \
  X(lv_##form##_lv, lv, form, lv)                                                                                      \
  X(lv_##form##_lp_sep, lv, form, lp_sep)                                                                              \
  X(lv_##form##_lp, lv, form, lp)
#define VORN_PARTITION_FIXED_FORM(form, X) X(fixed_##form##_fixed, fixed, form, fixed)
#define VORN_PARTITION_KERNELS(X)                                                                                      \
  VORN_KEY_FORMS(VORN_PARTITION_RID_FORM, X)                                                                           \
  VORN_PARTITION_RID_FORM(gd, X)                                                                                       \
  X(rid_hashrid, rid, hashrid, record)                                                                                 \
  VORN_KEY_FORMS(VORN_PARTITION_LV_FORM, X)                                                                            \
  X(lv_hash_values, records, hash_values, record)                                                                      \
  VORN_KEY_FORMS(VORN_PARTITION_FIXED_FORM, X)

// X(kind, result, identifier)     vorn_gather_<kind>_<result>_<identifier>
#define VORN_GATHER_IDENTIFIERS(X, kind, result)                                                                       \
  X(kind, result, fixed_8)                                                                                             \
  X(kind, result, fixed_4)                                                                                             \
  X(kind, result, fixed_2)                                                                                             \
  X(kind, result, fixed_1)                                                                                             \
  X(kind, result, fixed)                                                                                               \
  X(kind, result, ridvalue)                                                                                            \
  X(kind, result, ridvalue_rid)
#define VORN_GATHER_RESULT(result, X)                                                                                  \
  VORN_GATHER_IDENTIFIERS(X, lp, result)                                                                               \
  VORN_GATHER_IDENTIFIERS(X, dlp, result)                                                                              \
  VORN_GATHER_IDENTIFIERS(X, cla, result)
#define VORN_GATHER_KERNELS(X)                                                                                         \
  VORN_VALUE_FORMS(VORN_GATHER_RESULT, X)                                                                              \
  VORN_GATHER_RESULT(dlp, X)

// X(result, form)     vorn_gather_<result>_<form>
#define VORN_GATHER_DIRECT_KERNELS(X)                                                                                  \
  X(lv_sep, lp_sep)                                                                                                    \
  X(lv_sep, lp)                                                                                                        \
  X(lv_sep, dlp)                                                                                                       \
  X(lv, lp_sep)                                                                                                        \
  X(lv, lp)                                                                                                            \
  X(lv, dlp)
