// The translate kernels: kinds of tables by widths of entries, with and without stored entries, and the kernels of
// group keys.
#include "generic/expr/translate.hpp"

#include "generic/engine.hpp"
#include "generic/families.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_XLATE(name, OP, ENC, code, c2d, kind, width)                                                       \
  uint32_t name(vorn_cv *res, vorn_cv *src, const vorn_cv *tbl, vorn_aux *aux) {                                       \
    using namespace vorn::expr;                                                                                        \
    return translate<vorn::engine::key_loop, width##_entries, c2d>(table_kind::kind, *res, *src, *tbl, *aux);          \
  }
VORN_XLATE_KERNELS(VORN_DEFINE_XLATE)

#define VORN_DEFINE_XLATE_GROUPKEY(name, OP, ENC, code, c2d, kind, width)                                              \
  uint32_t name(vorn_cv *res, vorn_cv *src, const vorn_cv *, vorn_aux *aux) {                                          \
    return vorn::expr::add_to_keys<vorn::expr::width##_entries>(*res, *src, *aux);                                     \
  }
VORN_XLATE_GROUPKEY_KERNELS(VORN_DEFINE_XLATE_GROUPKEY)

VORN_KERNELS_END
