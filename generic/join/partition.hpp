// Partitioning: each row appends a record to the area that its hash value selects.
#pragma once

#include "generic/copy.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL::join {

// The areas, and the area that a hash value selects.
struct partition_areas {
  explicit partition_areas(const vorn_partition_buffer &pb)
      : cur(pb.vorn_pb_cur), end(pb.vorn_pb_end), shift(pb.vorn_pb_shift < 64 ? pb.vorn_pb_shift : 0),
        mask(pb.vorn_pb_shift < 64 ? low_bits(uint64_t{pb.vorn_pb_hi_bit} + 1) : 0) {}

  uint64_t partition(uint64_t hash) const { return (hash & mask) >> shift; }

  // Takes room for a record of the partition; null when the record does not fit.
  uint8_t *take(uint64_t partition, uint32_t size) const {
    auto *at = static_cast<uint8_t *>(cur[partition]);
    if (end != nullptr && static_cast<uint8_t *>(end[partition]) - at < int64_t{size})
      return nullptr;
    cur[partition] = at + size;
    return at;
  }

  void **cur;
  void *const *end; // null when the caller guarantees the room
  uint8_t shift;
  uint64_t mask;
};

// The records.  For each row in order, next() returns the size of the record and write() writes it.

// A row identifier and the hash value.  With a code the order is hash value, code, row identifier.
template <class Ids, bool HasCode>
struct rid_record {
  void begin(const key_batch &keys) {
    if constexpr (std::is_same_v<Ids, counted_values>)
      batch_ids = {ids.vorn_cv_autorid + keys.first()};
    else if (ids_in_keys)
      batch_ids = keys.row_ids();
    else
      batch_ids = {static_cast<const uint8_t *>(ids.vorn_cv_vals) + uint64_t{keys.first()} * 8, 8};
    codes = keys.codes();
  }
  uint32_t next() const { return HasCode ? 24 : 16; }
  void write(uint8_t *out, uint32_t row, uint64_t hash) const {
    const auto id = batch_ids.template get<uint64_t>(row);
    if constexpr (HasCode) {
      store<uint64_t>(out, hash);
      store<uint32_t>(out + 8, codes.get<uint32_t>(row));
      store<uint64_t>(out + 16, id);
    } else {
      store<uint64_t>(out, id);
      store<uint64_t>(out + 8, hash);
    }
  }
  void save_position(vorn_aux &) const {}
  void save_end(vorn_aux &) const {}

  const vorn_cv &ids;
  bool ids_in_keys = false;
  Ids batch_ids = {};
  strided codes = {};
};

// Length, hash value and payload.
template <class Rows>
struct lv_record {
  void begin(const key_batch &) {}
  // The value is kept field by field.  A copy of the record as a whole would wait for the stores of its fields.
  uint32_t next() {
    const value payload = rows.next();
    at = payload.at;
    length = payload.length;
    return 10U + length;
  }
  void write(uint8_t *out, uint32_t, uint64_t hash) const {
    store<uint16_t>(out, static_cast<uint16_t>(length + 8));
    store<uint64_t>(out + 2, hash);
    copy_bytes(out + 10, at, length);
  }
  void save_position(vorn_aux &aux) const { save(at - (std::is_same_v<Rows, lv_rows> ? sizeof(uint16_t) : 0), aux); }
  void save_end(vorn_aux &aux) const {
    if constexpr (needs_byte_position<Rows>)
      save(rows.at, aux);
  }

  void save([[maybe_unused]] const uint8_t *next_row, [[maybe_unused]] vorn_aux &aux) const {
    if constexpr (needs_byte_position<Rows>)
      aux.vorn_aux_out_pos2 = static_cast<uint64_t>(next_row - vals);
  }

  const uint8_t *vals = nullptr;
  Rows rows = {};
  const uint8_t *at = nullptr; // the value of the row whose record is next to be written
  uint32_t length = 0;
};

// Hash value and payload.  The record has `width` bytes of payload, even when the row has more or fewer.  Width is the
// width if the compiler is to know it.
template <uint16_t Width>
struct fixed_record {
  void begin(const key_batch &) {}
  uint32_t next() const { return 8U + (Width != 0 ? Width : width); }
  void write(uint8_t *out, uint32_t, uint64_t hash) {
    store<uint64_t>(out, hash);
    if constexpr (Width != 0)
      std::memcpy(out + 8, at, Width);
    else
      copy_bytes(out + 8, at, width);
    at += stride;
  }
  void save_position(vorn_aux &) const {}
  void save_end(vorn_aux &) const {}

  const uint8_t *at;
  uint16_t stride;
  uint16_t width;
};

// The areas are a copy, and so is what a record knows of a batch.  The compiler then need not read them again after
// each written record.
template <class Record>
[[gnu::noinline]] uint32_t append_rows(const partition_areas areas, key_batch &keys, Record record, vorn_aux &aux) {
  for (; keys.load_batch(); keys.advance()) {
    record.begin(keys);
    const strided hashes = keys.hashes();
    const uint32_t count = keys.count();
    for (uint32_t row = 0; row < count; ++row) {
      const auto hash = hashes.get<uint64_t>(row);
      const uint64_t partition = areas.partition(hash);
      uint8_t *out = areas.take(partition, record.next());
      if (out == nullptr) {
        aux.vorn_aux_full_part = static_cast<uint32_t>(partition);
        keys.save_position(row, aux);
        record.save_position(aux);
        return VORN_RESULT_PARTITION_FULL;
      }
      record.write(out, row, hash);
    }
  }
  keys.save_end(aux);
  record.save_end(aux);
  return VORN_RESULT_DONE;
}

// Partitions the records of an earlier partitioning.  Each record begins with its hash value and is copied whole.
inline uint32_t partition_records(const vorn_partition_buffer &pb, const vorn_cv &src, vorn_aux &aux) {
  const partition_areas areas(pb);
  const auto *vals = static_cast<const uint8_t *>(src.vorn_cv_vals);
  lv_rows rows = {vals + aux.vorn_aux_out_pos};
  uint32_t row = aux.vorn_aux_start_slot;
  uint32_t code = VORN_RESULT_DONE;
  for (; row < src.vorn_cv_nrows; ++row) {
    const uint8_t *record = rows.at;
    const value content = rows.next();
    const uint64_t partition = areas.partition(load<uint64_t>(content.at));
    const uint32_t size = 2U + content.length;
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

[[gnu::noinline]] inline uint32_t partition_rids(row_form form, value_source source, const vorn_partition_buffer &pb,
                                                 const vorn_cv &src, const vorn_cv &ids, vorn_hashfn hashfn,
                                                 vorn_aux &aux) {
  key_batch keys(src, form, hashfn, aux);
  if (!keys.can_hash())
    return VORN_RESULT_NO_IMPLEMENTATION;
  const auto append = [&](auto record) { return append_rows(partition_areas(pb), keys, record, aux); };
  if (source != value_source::autorid)
    return form == row_form::gd ? append(rid_record<strided, true>{ids, false})
                                : append(rid_record<strided, false>{ids, source == value_source::record});
  return form == row_form::gd ? append(rid_record<counted_values, true>{ids, false})
                              : append(rid_record<counted_values, false>{ids, false});
}

enum class record_form : uint8_t { lv, fixed };

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
  if (record == record_form::fixed) {
    const fixed_rows rows = fixed_rows_of(payload, from.row);
    const uint16_t width = pb.vorn_pb_fixed_width;
    switch (width) {
    case 4:
      return append_rows(areas, keys, fixed_record<4>{rows.at, rows.stride, width}, aux);
    case 8:
      return append_rows(areas, keys, fixed_record<8>{rows.at, rows.stride, width}, aux);
    default:
      return append_rows(areas, keys, fixed_record<0>{rows.at, rows.stride, width}, aux);
    }
  }
  const auto *vals = static_cast<const uint8_t *>(payload.vorn_cv_vals);
  return visit_values(payload, payload_form, from, [&](auto rows) {
    return append_rows(areas, keys, lv_record<decltype(rows)>{vals, rows}, aux);
  });
}

} // namespace vorn::inline VORN_LEVEL::join
