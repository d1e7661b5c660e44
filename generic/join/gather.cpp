// The gather kernels: by the kind of the table, the form of the result and that of the identifiers, and six that take
// their values from the source.
#include "generic/join/gather.hpp"
#include "generic/join/families.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_GATHER(kind, result, identifier)                                                                   \
  static uint32_t vorn_gather_##kind##_##result##_##identifier(vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl,  \
                                                               vorn_aux *aux) {                                        \
    return vorn::gather_stored(vorn::storage_kind::kind, vorn::row_form::result, vorn::identifier_form::identifier,    \
                               *res, *src, *tbl, *aux);                                                                \
  }
VORN_GATHER_KERNELS(VORN_DEFINE_GATHER)

#define VORN_DEFINE_GATHER_DIRECT(result, form)                                                                        \
  static uint32_t vorn_gather_##result##_##form(vorn_cv *res, vorn_cv *src, vorn_transpose_table *, vorn_aux *aux) {   \
    return vorn::gather_referred(vorn::row_form::result, vorn::row_form::form, *res, *src, *aux);                      \
  }
VORN_GATHER_DIRECT_KERNELS(VORN_DEFINE_GATHER_DIRECT)

VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

namespace {

constexpr std::array result_forms = {flagged::fixed,  flagged::lv_sep, flagged::lv,
                                     flagged::lp_sep, flagged::lp,     flagged::dlp};
constexpr std::array direct_results = {flagged::lv_sep, flagged::lv};
constexpr std::array direct_sources = {flagged::lp_sep, flagged::lp, flagged::dlp};

constexpr uint32_t place_of(storage_kind kind, row_form result, identifier_form identifier) {
  return (static_cast<uint32_t>(kind) * row_forms + static_cast<uint32_t>(result)) * identifier_forms +
         static_cast<uint32_t>(identifier);
}
constexpr uint32_t place_of(row_form result, row_form source) {
  return static_cast<uint32_t>(result) * row_forms + static_cast<uint32_t>(source);
}

storage_kind kind_of(const vorn_transpose_table &table) {
  return table.vorn_tt_flags & VORN_TT_LP    ? storage_kind::lp
         : table.vorn_tt_flags & VORN_TT_DLP ? storage_kind::dlp
         : table.vorn_tt_flags & VORN_TT_CLA ? storage_kind::cla
                                             : storage_kind::none;
}

identifier_form identifiers_of(const vorn_cv &src, const vorn_aux &aux) {
  if (flags_of(src) & VORN_FIXED)
    switch (stride_of(src)) {
    case 8:
      return identifier_form::fixed_8;
    case 4:
      return identifier_form::fixed_4;
    case 2:
      return identifier_form::fixed_2;
    case 1:
      return identifier_form::fixed_1;
    default:
      return identifier_form::fixed;
    }
  if (flags_of(src) & VORN_RIDVALUE)
    return aux.vorn_aux_flags & VORN_AUX_RID ? identifier_form::ridvalue_rid : identifier_form::ridvalue;
  return identifier_form::none;
}

} // namespace

#define VORN_GATHER_MEMBER(kind, result, identifier)                                                                   \
  {"vorn_gather_" #kind "_" #result "_" #identifier,                                                                   \
   place_of(storage_kind::kind, row_form::result, identifier_form::identifier),                                        \
   vorn_gather_##kind##_##result##_##identifier},
constexpr join_family<gather_kernel, 126> gather_members = {{VORN_GATHER_KERNELS(VORN_GATHER_MEMBER)}};

#define VORN_GATHER_DIRECT_MEMBER(result, form)                                                                        \
  {"vorn_gather_" #result "_" #form, place_of(row_form::result, row_form::form), vorn_gather_##result##_##form},
constexpr join_family<gather_kernel, 6> gather_direct_members = {
    {VORN_GATHER_DIRECT_KERNELS(VORN_GATHER_DIRECT_MEMBER)}};

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

uint32_t vorn_gather_dydi(vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl, vorn_aux *aux) {
  using namespace vorn;
  static constexpr auto direct = by_place<row_forms * row_forms>(gather_direct_members);
  static constexpr auto kernels = by_place<storage_kinds * row_forms * identifier_forms>(gather_members);
  const row_form copied = form_of(direct_results, flags_of(*res));
  const row_form referring = form_of(direct_sources, flags_of(*src));
  if (copied != row_form::none && referring != row_form::none)
    return direct[place_of(copied, referring)](res, src, tbl, aux);

  const storage_kind kind = kind_of(*tbl);
  const row_form result = form_of(result_forms, flags_of(*res));
  const identifier_form identifier = identifiers_of(*src, *aux);
  if (kind == storage_kind::none || result == row_form::none || identifier == identifier_form::none)
    return VORN_RESULT_REFUSED;
  return kernels[place_of(kind, result, identifier)](res, src, tbl, aux);
}

VORN_KERNELS_END
