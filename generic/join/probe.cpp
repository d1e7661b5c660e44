// The kernels that probe hash tables: four layouts, by the form of the keys and what a pair says of them.
#include "generic/join/probe.hpp"
#include "generic/join/families.hpp"
#include "generic/table/record.hpp"

using pass = vorn::block_matches;

VORN_KERNELS_BEGIN

#define VORN_LEFT_autorid false
#define VORN_LEFT_payload true
#define VORN_DEFINE_PROBE(name, layout, form, values)                                                                  \
  static uint32_t vorn_ht_probe_##name(vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht,                 \
                                       vorn_hashfn hashfn, vorn_aux *aux) {                                            \
    return vorn::probe<pass, vorn::layout##_bucket>(vorn::row_form::form, VORN_LEFT_##values, *res, *src, *left, *ht,  \
                                                    hashfn, *aux);                                                     \
  }
VORN_PROBE_KERNELS(VORN_DEFINE_PROBE)

VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

namespace {

constexpr std::array probe_forms = {flagged::fixed,  flagged::lv_sep, flagged::lv,
                                    flagged::lp_sep, flagged::lp,     flagged::hash_values};
constexpr std::array gd_forms = {flagged::gd};

constexpr uint32_t place_of(layout_code layout, row_form form, bool has_left) {
  return (static_cast<uint32_t>(layout) * row_forms + static_cast<uint32_t>(form)) * 2 + (has_left ? 1 : 0);
}

} // namespace

#define VORN_PROBE_MEMBER(name, layout, form, values)                                                                  \
  {"vorn_ht_probe_" #name, place_of(layout_code::layout, row_form::form, VORN_LEFT_##values), vorn_ht_probe_##name},
constexpr join_family<probe_kernel, 52> probe_members = {{VORN_PROBE_KERNELS(VORN_PROBE_MEMBER)}};

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

uint32_t vorn_ht_probe_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht, vorn_hashfn hashfn,
                            vorn_aux *aux) {
  using namespace vorn;
  static constexpr auto kernels = by_place<layout_codes * row_forms * 2>(probe_members);
  const auto [layout, has_codes] = kind_of(*ht);
  const row_form form = has_codes ? form_of(gd_forms, flags_of(*src)) : form_of(probe_forms, flags_of(*src));
  if (layout == layout_code::none || form == row_form::none)
    return VORN_RESULT_REFUSED;
  const bool has_left = !(flags_of(*left) & VORN_AUTORID);
  return kernels[place_of(layout, form, has_left)](res, src, left, ht, hashfn, aux);
}

VORN_KERNELS_END
