// The kernel that partitions rows, by the form of the records, of the keys and of the payload.
#include "generic/join/partition.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

uint32_t vorn_partition_dydi(vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload, vorn_hashfn hashfn,
                             vorn_aux *aux) {
  using namespace vorn::join;
  using enum row_form;
  static constexpr std::array rid_forms = {fixed, lv_sep, lv, lp_sep, lp, hashrid, hash_values};
  static constexpr std::array key_forms = {fixed, lv_sep, lv, lp_sep, lp, hash_values};
  static constexpr uint32_t records = VORN_LV | VORN_HASH_VALUES;
  const auto writes = [=](uint32_t type) { return (pb->vorn_pb_type & type) == type; };
  const uint32_t key_flags = flags_of(*src), payload_flags = flags_of(*payload);
  if (writes(VORN_PB_RID)) {
    const row_form form = !writes(VORN_PB_RID_GD) ? first_set(rid_forms, key_flags) : key_flags & VORN_GD ? gd : none;
    const value_source source = form == hashrid                ? value_source::record
                                : payload_flags & VORN_AUTORID ? value_source::autorid
                                                               : value_source::payload;
    return form == none ? uint32_t{VORN_RESULT_REFUSED}
                        : partition_rids(form, source, *pb, *src, *payload, hashfn, *aux);
  }
  if (writes(VORN_PB_LV) && (key_flags & records) == records)
    return partition_records(*pb, *src, *aux);
  const row_form form = first_set(key_forms, key_flags);
  const row_form payload_form = writes(VORN_PB_LV) ? first_set(value_forms, payload_flags)
                                : writes(VORN_PB_FIXED) && payload_flags & VORN_FIXED ? fixed
                                                                                      : none;
  if (form == none || payload_form == none)
    return VORN_RESULT_REFUSED;
  const record_form record = writes(VORN_PB_LV) ? record_form::lv : record_form::fixed;
  return partition_values(record, form, payload_form, *pb, *src, *payload, hashfn, *aux);
}

VORN_KERNELS_END
