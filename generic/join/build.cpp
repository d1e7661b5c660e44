// The kernels that build hash tables: four layouts, by the form of the keys and where values come from.
#include "generic/join/build.hpp"
#include "generic/join/families.hpp"
#include "generic/table/record.hpp"

using pass = vorn::single_inserts;

VORN_KERNELS_BEGIN

#define VORN_DEFINE_BUILD(name, layout, form, values)                                                                  \
  static uint32_t vorn_ht_build_##name(vorn_hash_table *ht, vorn_cv *src, vorn_cv *value_rows, int32_t part,           \
                                       vorn_hashfn hashfn, vorn_aux *aux) {                                            \
    return vorn::build<pass, vorn::layout##_bucket>(vorn::row_form::form, vorn::value_source::values, *ht, *src,       \
                                                    *value_rows, part, hashfn, *aux);                                  \
  }
VORN_BUILD_KERNELS(VORN_DEFINE_BUILD)

VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

namespace {

constexpr std::array build_forms = {flagged::hashrid, flagged::fixed, flagged::lv_sep,     flagged::lv,
                                    flagged::lp_sep,  flagged::lp,    flagged::hash_values};
constexpr std::array gd_v4_forms = {flagged::gd};
constexpr std::array gd_v8_forms = {flagged::hashgdrid, flagged::gd};

constexpr uint32_t sources = 3;

constexpr uint32_t place_of(layout_code layout, row_form form, value_source source) {
  return (static_cast<uint32_t>(layout) * row_forms + static_cast<uint32_t>(form)) * sources +
         static_cast<uint32_t>(source);
}

} // namespace

#define VORN_BUILD_MEMBER(name, layout, form, values)                                                                  \
  {"vorn_ht_build_" #name, place_of(layout_code::layout, row_form::form, value_source::values), vorn_ht_build_##name},
constexpr join_family<build_kernel, 57> build_members = {{VORN_BUILD_KERNELS(VORN_BUILD_MEMBER)}};

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

uint32_t vorn_ht_build_dydi(vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part, vorn_hashfn hashfn,
                            vorn_aux *aux) {
  using namespace vorn;
  static constexpr auto kernels = by_place<layout_codes * row_forms * sources>(build_members);
  const auto [layout, has_codes] = kind_of(*ht);
  const uint32_t flags = flags_of(*src);
  const row_form form = !has_codes                    ? form_of(build_forms, flags)
                        : layout == layout_code::k4v8 ? form_of(gd_v8_forms, flags)
                                                      : form_of(gd_v4_forms, flags);
  if (layout == layout_code::none || form == row_form::none)
    return VORN_RESULT_REFUSED;
  const value_source source = form == row_form::hashrid || form == row_form::hashgdrid ? value_source::record
                              : flags_of(*values) & VORN_AUTORID                       ? value_source::autorid
                                                                                       : value_source::payload;
  return kernels[place_of(layout, form, source)](ht, src, values, part, hashfn, aux);
}

VORN_KERNELS_END
