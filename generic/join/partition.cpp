// The kernels that partition rows: three kinds of records, by the form of the keys and of what goes into a record.
#include "generic/join/partition.hpp"
#include "generic/join/families.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

#define VORN_PARTITION_AS_rid(form, payload)                                                                           \
  partition_rids(vorn::row_form::form, vorn::value_source::payload, *pb, *src, *given, hashfn, *aux)
#define VORN_PARTITION_AS_lv(form, payload)                                                                            \
  partition_values(vorn::record_form::lv, vorn::row_form::form, vorn::row_form::payload, *pb, *src, *given, hashfn,    \
                   *aux)
#define VORN_PARTITION_AS_fixed(form, payload)                                                                         \
  partition_values(vorn::record_form::fixed, vorn::row_form::form, vorn::row_form::payload, *pb, *src, *given, hashfn, \
                   *aux)
#define VORN_PARTITION_AS_records(form, payload) partition_records(*pb, *src, *aux)
#define VORN_DEFINE_PARTITION(name, output, form, payload)                                                             \
  static uint32_t vorn_partition_##name([[maybe_unused]] vorn_partition_buffer *pb, vorn_cv *src,                      \
                                        [[maybe_unused]] vorn_cv *given, [[maybe_unused]] vorn_hashfn hashfn,          \
                                        vorn_aux *aux) {                                                               \
    return vorn::VORN_PARTITION_AS_##output(form, payload);                                                            \
  }
VORN_PARTITION_KERNELS(VORN_DEFINE_PARTITION)

VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL {

namespace {

constexpr std::array rid_keys = {flagged::fixed, flagged::lv_sep,  flagged::lv,         flagged::lp_sep,
                                 flagged::lp,    flagged::hashrid, flagged::hash_values};
constexpr std::array keys = {flagged::fixed,  flagged::lv_sep, flagged::lv,
                             flagged::lp_sep, flagged::lp,     flagged::hash_values};
constexpr std::array gd_keys = {flagged::gd};
constexpr std::array fixed_payloads = {flagged::fixed};

constexpr uint32_t place_of(record_form output, row_form form, uint32_t payload) {
  return (static_cast<uint32_t>(output) * row_forms + static_cast<uint32_t>(form)) * row_forms + payload;
}
constexpr uint32_t place_of(record_form output, row_form form, value_source source) {
  return place_of(output, form, static_cast<uint32_t>(source));
}
constexpr uint32_t place_of(record_form output, row_form form, row_form payload) {
  return place_of(output, form, static_cast<uint32_t>(payload));
}
constexpr uint32_t places = 4 * row_forms * row_forms;

} // namespace

#define VORN_PAYLOAD_OF_rid     value_source
#define VORN_PAYLOAD_OF_lv      row_form
#define VORN_PAYLOAD_OF_fixed   row_form
#define VORN_PAYLOAD_OF_records value_source
#define VORN_PARTITION_MEMBER(name, output, form, payload)                                                             \
  {"vorn_partition_" #name, place_of(record_form::output, row_form::form, VORN_PAYLOAD_OF_##output::payload),          \
   vorn_partition_##name},
constexpr join_family<partition_kernel, 52> partition_members = {{VORN_PARTITION_KERNELS(VORN_PARTITION_MEMBER)}};

namespace {

// The kernel for a type and the flags of keys and payload; null when there is none.
partition_kernel *choose(uint32_t type, uint32_t key_flags, uint32_t payload_flags) {
  static constexpr auto kernels = by_place<places>(partition_members);
  const auto is = [=](uint32_t form) { return (type & form) == form; };
  const value_source source = payload_flags & VORN_AUTORID ? value_source::autorid : value_source::payload;
  if (is(VORN_PB_RID_GD)) {
    const row_form form = form_of(gd_keys, key_flags);
    return form == row_form::none ? nullptr : kernels[place_of(record_form::rid, form, source)];
  }
  if (is(VORN_PB_RID)) {
    const row_form form = form_of(rid_keys, key_flags);
    if (form == row_form::hashrid)
      return kernels[place_of(record_form::rid, form, value_source::record)];
    return form == row_form::none ? nullptr : kernels[place_of(record_form::rid, form, source)];
  }
  const bool fixed = !is(VORN_PB_LV) && is(VORN_PB_FIXED);
  if (!fixed && !is(VORN_PB_LV))
    return nullptr;
  constexpr uint32_t records = VORN_LV | VORN_HASH_VALUES;
  if (!fixed && (key_flags & records) == records)
    return kernels[place_of(record_form::records, row_form::hash_values, value_source::record)];
  const row_form form = form_of(keys, key_flags);
  const row_form payload = fixed ? form_of(fixed_payloads, payload_flags) : form_of(value_forms, payload_flags);
  if (form == row_form::none || payload == row_form::none)
    return nullptr;
  return kernels[place_of(fixed ? record_form::fixed : record_form::lv, form, payload)];
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

VORN_KERNELS_BEGIN

uint32_t vorn_partition_dydi(vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload, vorn_hashfn hashfn,
                             vorn_aux *aux) {
  const auto kernel = vorn::choose(pb->vorn_pb_type, vorn::flags_of(*src), vorn::flags_of(*payload));
  return kernel == nullptr ? uint32_t{VORN_RESULT_REFUSED} : kernel(pb, src, payload, hashfn, aux);
}

VORN_KERNELS_END
