// The hash kernel, and the routines that hash the keys of the other join kernels.
#include "generic/join/hash.hpp"
#include "generic/join/keys.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

using loop = vorn::join::single_hashes;

void vorn_hashfn_array_fixed(uint64_t *out, const void *data, uint16_t width, uint32_t count, vorn_hashfn hashfn) {
  const vorn::join::fixed_rows rows = {static_cast<const uint8_t *>(data), width};
  loop::hash(out, rows, count, hashfn, vorn::join::single_seed{0});
}

void vorn_hashfn_array_lv_sep(uint64_t *out, uint64_t *offs, const void *data, const uint16_t *lens, uint32_t count,
                              vorn_hashfn hashfn) {
  const vorn::join::lv_sep_rows rows = {static_cast<const uint8_t *>(data), reinterpret_cast<const uint8_t *>(lens)};
  loop::hash(out, offs, rows, count, hashfn);
}

void vorn_hashfn_array_lv(uint64_t *out, uint64_t *offs, const void *data, uint32_t count, vorn_hashfn hashfn) {
  loop::hash(out, offs, vorn::join::lv_rows{static_cast<const uint8_t *>(data)}, count, hashfn);
}

void vorn_hashfn_array_lp_sep(uint64_t *out, const void *ptrs, const uint16_t *lens, uint32_t count,
                              vorn_hashfn hashfn) {
  const vorn::join::lp_sep_rows rows = {static_cast<const uint8_t *>(ptrs), reinterpret_cast<const uint8_t *>(lens)};
  loop::hash(out, rows, count, hashfn, vorn::join::single_seed{0});
}

void vorn_hashfn_array_lp(uint64_t *out, const void *recs, uint32_t count, vorn_hashfn hashfn) {
  const vorn::join::lp_rows rows = {static_cast<const uint8_t *>(recs)};
  loop::hash(out, rows, count, hashfn, vorn::join::single_seed{0});
}

uint32_t vorn_hash_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn, vorn_aux *) {
  using namespace vorn::join;
  using enum row_form;
  static constexpr std::array forms = {fixed, dict, lv_sep, lv, lp_sep, lp};
  const row_form form = first_set(forms, flags_of(*src));
  if (!(flags_of(*seed) & VORN_HASH_VALUES) || form == none)
    return VORN_RESULT_REFUSED;
  return hash_vector(form, *res, *src, *seed, hashfn);
}

VORN_KERNELS_END
