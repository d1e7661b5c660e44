// The gather kernel: values of a table, by the kind of the table and the form of the result, or values that the source
// refers to.
#include "generic/join/gather.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_gather_dydi(vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl, vorn_aux *aux) {
  using namespace vorn::join;
  using enum row_form;
  static constexpr std::array copied_results = {lv_sep, lv};
  static constexpr std::array referring_sources = {lp_sep, lp, dlp};
  static constexpr std::array results = {fixed, lv_sep, lv, lp_sep, lp, dlp};
  static constexpr std::array kinds = {storage_kind::lp, storage_kind::dlp, storage_kind::cla};
  const row_form copied = first_set(copied_results, flags_of(*res));
  const row_form referring = first_set(referring_sources, flags_of(*src));
  if (copied != none && referring != none) // the table is not read
    return gather_referred(copied, referring, *res, *src, *aux);

  const storage_kind kind = first_set(kinds, tbl->vorn_tt_flags);
  const row_form result = first_set(results, flags_of(*res));
  if (kind == storage_kind::none || result == none || !(flags_of(*src) & (VORN_FIXED | VORN_RIDVALUE)))
    return VORN_RESULT_REFUSED;
  return gather_stored(kind, result, *res, *src, *tbl, *aux);
}

VORN_KERNELS_END
