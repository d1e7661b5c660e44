// The kernel that builds hash tables.
#include "generic/join/build.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_ht_build_dydi(vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part, vorn_hashfn hashfn,
                            vorn_aux *aux) {
  using namespace vorn::join;
  using enum row_form;
  static constexpr std::array key_forms = {hashrid, fixed, lv_sep, lv, lp_sep, lp, hash_values};
  const uint32_t flags = flags_of(*src);
  // Of the tables with codes, only k4v8 has room for the 64-bit row identifier of a record.
  const bool takes_records = ht->vorn_ht_type & VORN_HT_K4V8;
  const row_form form = !has_codes(*ht)                           ? first_set(key_forms, flags)
                        : takes_records && flags & VORN_HASHGDRID ? hashgdrid
                        : flags & VORN_GD                         ? gd
                                                                  : none;
  if (form == none)
    return VORN_RESULT_REFUSED;
  const value_source source = form == hashrid || form == hashgdrid ? value_source::record
                              : flags_of(*values) & VORN_AUTORID   ? value_source::autorid
                                                                   : value_source::payload;
  return visit_layout(
      *ht, [=]<class Layout>(Layout) { return build<Layout>(form, source, *ht, *src, *values, part, hashfn, *aux); });
}

VORN_KERNELS_END
