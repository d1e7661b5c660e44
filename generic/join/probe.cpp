// The kernel that probes hash tables.
#include "generic/join/probe.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_ht_probe_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht, vorn_hashfn hashfn,
                            vorn_aux *aux) {
  using namespace vorn::join;
  using enum row_form;
  static constexpr std::array key_forms = {fixed, lv_sep, lv, lp_sep, lp, hash_values};
  const uint32_t flags = flags_of(*src);
  const row_form form = !has_codes(*ht) ? first_set(key_forms, flags) : flags & VORN_GD ? gd : none;
  if (form == none)
    return VORN_RESULT_REFUSED;
  return visit_layout(*ht, [=]<class Layout>(Layout) {
    const bool has_left = !(flags_of(*left) & VORN_AUTORID);
    return probe<Layout>(form, has_left, *res, *src, *left, *ht, hashfn, *aux);
  });
}

VORN_KERNELS_END
