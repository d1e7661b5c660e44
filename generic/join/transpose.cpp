// The kernels that enter references into a matrix, one for each form, and those that convert its rows: records or
// values, found by offsets or by entries.
#include "generic/join/transpose.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_CONVERT(items, by_row, described, index)                                                           \
  static uint32_t vorn_transpose_convert_##items##_##described(vorn_transpose_table *dst, vorn_transpose_table *src,   \
                                                               int32_t dst_arr, int32_t src_arr, uint32_t first,       \
                                                               uint32_t last, vorn_aux *aux) {                         \
    return vorn::convert_rows<vorn::index>(by_row, *dst, *src, dst_arr, src_arr, first, last, *aux);                   \
  }
VORN_DEFINE_CONVERT(row, true, cla, end_offsets)
VORN_DEFINE_CONVERT(col, false, cla, end_offsets)
VORN_DEFINE_CONVERT(row, true, lp, lp_entries)
VORN_DEFINE_CONVERT(col, false, lp, lp_entries)

uint32_t vorn_transpose_reference_dydi(vorn_transpose_table *tbl, vorn_cv *src, uint32_t col, int32_t arr, vorn_aux *) {
  const vorn::row_form form = vorn::form_of(vorn::value_forms, vorn::flags_of(*src));
  if (!(tbl->vorn_tt_flags & VORN_TT_LP) || form == vorn::row_form::none)
    return VORN_RESULT_REFUSED;
  return vorn::refer_to_column(form, *tbl, *src, col, arr);
}

uint32_t vorn_transpose_convert_dydi(vorn_transpose_table *dst, vorn_transpose_table *src, int32_t dst_arr,
                                     int32_t src_arr, uint32_t first, uint32_t last, vorn_aux *aux) {
  if (dst == nullptr || !(dst->vorn_tt_flags & (VORN_TT_CLA | VORN_TT_LP)))
    return VORN_RESULT_REFUSED;
  const bool by_row = (dst->vorn_tt_flags & VORN_TT_ROW) && !(src->vorn_tt_flags & VORN_TT_ROW);
  const auto kernel = dst->vorn_tt_flags & VORN_TT_CLA
                          ? (by_row ? vorn_transpose_convert_row_cla : vorn_transpose_convert_col_cla)
                          : (by_row ? vorn_transpose_convert_row_lp : vorn_transpose_convert_col_lp);
  return kernel(dst, src, dst_arr, src_arr, first, last, aux);
}

VORN_KERNELS_END
