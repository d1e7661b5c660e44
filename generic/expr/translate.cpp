// The translate kernels: kinds of tables by widths of entries, with and without codes stored by row, and the kernels of
// group keys.  Each of the first has a selective twin, which is the same algorithm over the rows of a filter.
#include "generic/expr/translate.hpp"
#include "generic/families.hpp"

using pass = vorn::single_keys;

VORN_KERNELS_BEGIN

#define VORN_DEFINE_XLATE(name, OP, ENC, code, c2d, kind, width)                                                       \
  static uint32_t name##_selective(vorn_cv *res, vorn_cv *src, const vorn_cv *tbl, vorn_aux *aux) {                    \
    return vorn::translate<pass, vorn::width##_entries, c2d>(vorn::table_kind::kind, *res, *src, *tbl, *aux);          \
  }                                                                                                                    \
  uint32_t name(vorn_cv *res, vorn_cv *src, const vorn_cv *tbl, vorn_aux *aux) {                                       \
    if (aux->vorn_aux_filter_bv != nullptr)                                                                            \
      return name##_selective(res, src, tbl, aux);                                                                     \
    return vorn::translate<pass, vorn::width##_entries, c2d>(vorn::table_kind::kind, *res, *src, *tbl, *aux);          \
  }
VORN_XLATE_KERNELS(VORN_DEFINE_XLATE)

#define VORN_DEFINE_XLATE_GROUPKEY(name, OP, ENC, code, c2d, kind, width)                                              \
  uint32_t name(vorn_cv *res, vorn_cv *src, const vorn_cv *, vorn_aux *aux) {                                          \
    return vorn::add_to_keys<vorn::width##_entries>(*res, *src, *aux);                                                 \
  }
VORN_XLATE_GROUPKEY_KERNELS(VORN_DEFINE_XLATE_GROUPKEY)

VORN_KERNELS_END
