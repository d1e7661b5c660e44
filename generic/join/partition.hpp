// Partitioning: a record for each row is appended to the area that the row's hash value selects.
#pragma once

#include "generic/copy.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL {

// The areas, and which one a hash value selects.
struct partition_areas {
  explicit partition_areas(const vorn_partition_buffer &pb)
      : cur(pb.vorn_pb_cur), end(pb.vorn_pb_end), shift(pb.vorn_pb_shift < 64 ? pb.vorn_pb_shift : 0),
        mask(pb.vorn_pb_shift < 64 ? low_bits(uint64_t{pb.vorn_pb_hi_bit} + 1) : 0) {}

  uint64_t partition(uint64_t hash) const { return (hash & mask) >> shift; }

  // Where a record of the partition goes, and the next one behind it; null when it does not fit.
  uint8_t *take(uint64_t partition, uint32_t size) const {
    auto *at = static_cast<uint8_t *>(cur[partition]);
    if (end != nullptr && static_cast<uint8_t *>(end[partition]) - at < int64_t{size})
      return nullptr;
    cur[partition] = at + size;
    return at;
  }

  void **cur;
  void *const *end; // null when the caller vouches for the room
  uint8_t shift;
  uint64_t mask;
};

// The records.  Each is told of every row, in order, how large its record is and where it goes.

// A row identifier and the hash value; with a code as well they stand the other way round.
struct rid_record {
  void begin(const key_batch &keys) {
    batch = &keys;
    listed = source == value_source::record ? keys.row_ids()
             : source == value_source::payload
                 ? strided{static_cast<const uint8_t *>(ids.vorn_cv_vals) + uint64_t{keys.first()} * 8, 8}
                 : strided{};
  }
  uint32_t next() const { return has_code ? 24 : 16; }
  void write(uint8_t *out, uint32_t row, uint64_t hash) const {
    const uint64_t id =
        source == value_source::autorid ? ids.vorn_cv_autorid + batch->first() + row : listed.get<uint64_t>(row);
    if (has_code) {
      store<uint64_t>(out, hash);
      store<uint32_t>(out + 8, batch->codes().get<uint32_t>(row));
      store<uint64_t>(out + 16, id);
    } else {
      store<uint64_t>(out, id);
      store<uint64_t>(out + 8, hash);
    }
  }
  void leave(vorn_aux &) const {}
  void leave_at_end(vorn_aux &) const {}

  const vorn_cv &ids;
  value_source source = value_source::autorid;
  bool has_code = false;
  const key_batch *batch = nullptr;
  strided listed = {}; // of the batch, unless they are implicit
};

// Length, hash value and payload.
template <class Rows>
struct lv_record {
  void begin(const key_batch &) {}
  uint32_t next() {
    before = rows;
    payload = rows.next();
    return 10U + payload.length;
  }
  void write(uint8_t *out, uint32_t, uint64_t hash) const {
    store<uint16_t>(out, static_cast<uint16_t>(payload.length + 8));
    store<uint64_t>(out + 2, hash);
    copy_bytes(out + 10, payload.at, payload.length);
  }
  void leave(vorn_aux &aux) const { leave_before(before, aux); }
  void leave_at_end(vorn_aux &aux) const { leave_before(rows, aux); }

  void leave_before(const Rows &next, vorn_aux &aux) const {
    if constexpr (is_walk<Rows>)
      aux.vorn_aux_out_pos2 = static_cast<uint64_t>(next.at - vals);
  }

  const uint8_t *vals = nullptr;
  Rows rows = {};
  Rows before = rows;
  value payload = {};
};

// Hash value and payload, of which more or fewer bytes are taken than it has.
struct fixed_record {
  void begin(const key_batch &) {}
  uint32_t next() {
    payload = rows.next();
    return 8U + width;
  }
  void write(uint8_t *out, uint32_t, uint64_t hash) const {
    store<uint64_t>(out, hash);
    copy_bytes(out + 8, payload.at, width);
  }
  void leave(vorn_aux &) const {}
  void leave_at_end(vorn_aux &) const {}

  fixed_rows rows = {};
  uint16_t width = 0;
  value payload = {};
};

template <class Record>
uint32_t append_rows(const partition_areas &areas, key_batch &keys, Record record, vorn_aux &aux) {
  for (; keys.load_batch(); keys.pass()) {
    record.begin(keys);
    for (uint32_t row = 0; row < keys.count(); ++row) {
      const auto hash = keys.hashes().get<uint64_t>(row);
      const uint64_t partition = areas.partition(hash);
      uint8_t *out = areas.take(partition, record.next());
      if (out == nullptr) {
        aux.vorn_aux_full_part = static_cast<uint32_t>(partition);
        keys.leave_at(row, aux);
        record.leave(aux);
        return VORN_RESULT_PARTITION_FULL;
      }
      record.write(out, row, hash);
    }
  }
  keys.leave_at_end(aux);
  record.leave_at_end(aux);
  return VORN_RESULT_DONE;
}

// Records that a partitioning wrote are partitioned once more: each is copied whole, by the hash value in front of it.
inline uint32_t partition_records(const vorn_partition_buffer &pb, const vorn_cv &src, vorn_aux &aux) {
  const partition_areas areas(pb);
  const auto *vals = static_cast<const uint8_t *>(src.vorn_cv_vals);
  lv_rows rows = {vals + aux.vorn_aux_out_pos};
  uint32_t row = aux.vorn_aux_start_slot;
  uint32_t code = VORN_RESULT_DONE;
  for (; row < src.vorn_cv_nrows; ++row) {
    const uint8_t *record = rows.at;
    const value held = rows.next();
    const uint64_t partition = areas.partition(load<uint64_t>(held.at));
    const uint32_t size = 2U + held.length;
    uint8_t *out = areas.take(partition, size);
    if (out == nullptr) {
      aux.vorn_aux_full_part = static_cast<uint32_t>(partition);
      rows.at = record;
      code = VORN_RESULT_PARTITION_FULL;
      break;
    }
    copy_bytes(out, record, size);
  }
  aux.vorn_aux_start_slot = code == VORN_RESULT_DONE ? src.vorn_cv_nrows : row;
  aux.vorn_aux_out_pos = static_cast<uint64_t>(rows.at - vals);
  return code;
}

enum class record_form : uint8_t { rid, lv, fixed, records };

// The kernels: which records they write, by the form of the keys and what goes into a record beside the hash value.

[[gnu::noinline]] inline uint32_t partition_rids(row_form form, value_source source, const vorn_partition_buffer &pb,
                                                 const vorn_cv &src, const vorn_cv &ids, vorn_hashfn hashfn,
                                                 vorn_aux &aux) {
  key_batch keys(src, form, hashfn, aux);
  if (!keys.can_hash())
    return VORN_RESULT_NO_IMPLEMENTATION;
  return append_rows(partition_areas(pb), keys, rid_record{ids, source, form == row_form::gd}, aux);
}

[[gnu::noinline]] inline uint32_t partition_values(record_form record, row_form form, row_form payload_form,
                                                   const vorn_partition_buffer &pb, const vorn_cv &src,
                                                   const vorn_cv &payload, vorn_hashfn hashfn, vorn_aux &aux) {
  key_batch keys(src, form, hashfn, aux);
  if (pb.vorn_pb_type & VORN_PB_REFUSED)
    return VORN_RESULT_REFUSED;
  if (!keys.can_hash())
    return VORN_RESULT_NO_IMPLEMENTATION;
  const partition_areas areas(pb);
  const row_position from = {aux.vorn_aux_start_slot, aux.vorn_aux_out_pos2};
  if (record == record_form::fixed)
    return append_rows(areas, keys, fixed_record{fixed_rows_of(payload, from.row), pb.vorn_pb_fixed_width}, aux);
  const auto *vals = static_cast<const uint8_t *>(payload.vorn_cv_vals);
  return visit_values(payload, payload_form, from, [&](auto rows) {
    return append_rows(areas, keys, lv_record<decltype(rows)>{vals, rows}, aux);
  });
}

} // namespace vorn::inline VORN_LEVEL
