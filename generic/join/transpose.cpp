// The kernel that stores references in a matrix, and the kernel that converts the rows of a matrix to records or
// values.
#include "generic/join/transpose.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_transpose_reference_dydi(vorn_transpose_table *tbl, vorn_cv *src, uint32_t col, int32_t arr, vorn_aux *) {
  using namespace vorn::join;
  const row_form form = first_set(value_forms, flags_of(*src));
  if (!(tbl->vorn_tt_flags & VORN_TT_LP) || form == row_form::none)
    return VORN_RESULT_REFUSED;
  return refer_to_column(form, *tbl, *src, col, arr);
}

uint32_t vorn_transpose_convert_dydi(vorn_transpose_table *dst, vorn_transpose_table *src, int32_t dst_arr,
                                     int32_t src_arr, uint32_t first, uint32_t last, vorn_aux *aux) {
  using namespace vorn::join;
  if (dst == nullptr || !(dst->vorn_tt_flags & (VORN_TT_CLA | VORN_TT_LP)))
    return VORN_RESULT_REFUSED;
  const bool by_row = (dst->vorn_tt_flags & VORN_TT_ROW) && !(src->vorn_tt_flags & VORN_TT_ROW);
  return dst->vorn_tt_flags & VORN_TT_CLA
             ? convert<end_offsets>(by_row, *dst, *src, dst_arr, src_arr, first, last, *aux)
             : convert<lp_entries>(by_row, *dst, *src, dst_arr, src_arr, first, last, *aux);
}

VORN_KERNELS_END
