// The hash kernels: two for each form, with one seed and with a seed for each row, and the routines for batches.
#include "generic/join/hash.hpp"
#include "generic/join/families.hpp"
#include "generic/join/keys.hpp"
#include "generic/table/record.hpp"

using pass = vorn::hashed_rows;

VORN_KERNELS_BEGIN

#define VORN_SEEDED_const  false
#define VORN_SEEDED_stream true
#define VORN_DEFINE_HASH(seeds, form)                                                                                  \
  static uint32_t vorn_hash_hashfn_##seeds##_##form(vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn) {   \
    return vorn::hash_vector<pass>(vorn::row_form::form, VORN_SEEDED_##seeds, res, src, seed, hashfn);                 \
  }
VORN_HASH_KERNELS(VORN_DEFINE_HASH)

void vorn_hashfn_array_fixed(uint64_t *out, const void *data, uint16_t width, uint32_t count, vorn_hashfn hashfn) {
  pass::hash(out, vorn::fixed_rows{static_cast<const uint8_t *>(data), width}, count, hashfn, vorn::no_seeds());
}

void vorn_hashfn_array_lv_sep(uint64_t *out, uint64_t *offs, const void *data, const uint16_t *lens, uint32_t count,
                              vorn_hashfn hashfn) {
  pass::hash(out, offs, vorn::lv_sep_rows{static_cast<const uint8_t *>(data), reinterpret_cast<const uint8_t *>(lens)},
             count, hashfn);
}

void vorn_hashfn_array_lv(uint64_t *out, uint64_t *offs, const void *data, uint32_t count, vorn_hashfn hashfn) {
  pass::hash(out, offs, vorn::lv_rows{static_cast<const uint8_t *>(data)}, count, hashfn);
}

void vorn_hashfn_array_lp_sep(uint64_t *out, const void *ptrs, const uint16_t *lens, uint32_t count,
                              vorn_hashfn hashfn) {
  pass::hash(out, vorn::lp_sep_rows{static_cast<const uint8_t *>(ptrs), reinterpret_cast<const uint8_t *>(lens)}, count,
             hashfn, vorn::no_seeds());
}

void vorn_hashfn_array_lp(uint64_t *out, const void *recs, uint32_t count, vorn_hashfn hashfn) {
  pass::hash(out, vorn::lp_rows{static_cast<const uint8_t *>(recs)}, count, hashfn, vorn::no_seeds());
}

VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

namespace {

constexpr std::array hash_forms = {flagged::fixed, flagged::dict,   flagged::lv_sep,
                                   flagged::lv,    flagged::lp_sep, flagged::lp};

constexpr uint32_t place_of(row_form form, bool seed_per_row) {
  return static_cast<uint32_t>(form) * 2 + (seed_per_row ? 1 : 0);
}

} // namespace

#define VORN_HASH_MEMBER(seeds, form)                                                                                  \
  {"vorn_hash_hashfn_" #seeds "_" #form, place_of(row_form::form, VORN_SEEDED_##seeds),                                \
   vorn_hash_hashfn_##seeds##_##form},
constexpr join_family<hash_kernel, 12> hash_members = {{VORN_HASH_KERNELS(VORN_HASH_MEMBER)}};

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

uint32_t vorn_hash_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn, vorn_aux *) {
  static constexpr auto kernels = vorn::by_place<vorn::row_forms * 2>(vorn::hash_members);
  const vorn::row_form form = vorn::form_of(vorn::hash_forms, vorn::flags_of(*src));
  if (!(vorn::flags_of(*seed) & VORN_HASH_VALUES) || form == vorn::row_form::none)
    return VORN_RESULT_REFUSED;
  return kernels[vorn::place_of(form, seed->vorn_cv_nrows != 1)](res, src, seed, hashfn);
}

VORN_KERNELS_END
