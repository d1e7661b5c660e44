// Gather: the values that identifiers name, or that a vector refers to, in the form that is asked for.  Values are
// looked up a block at a time, so that their cache misses overlap, and then written.
#pragma once

#include <algorithm>

#include "generic/copy.hpp"
#include "generic/join/rows.hpp"

namespace vorn::inline VORN_LEVEL {

enum class storage_kind : uint8_t { lp, dlp, cla, none };
inline constexpr uint32_t storage_kinds = static_cast<uint32_t>(storage_kind::none);

enum class identifier_form : uint8_t { fixed_8, fixed_4, fixed_2, fixed_1, fixed, ridvalue, ridvalue_rid, none };
inline constexpr uint32_t identifier_forms = static_cast<uint32_t>(identifier_form::none);

// A value, and its offset field in a dlp word.
struct located {
  value held;
  uint64_t field;
};

inline constexpr uint32_t block_rows = 64;

// Where the identifiers of a vector are and how many bytes they have, of which the rest of a word is zero.
struct identifiers {
  identifiers(identifier_form form, const vorn_cv &src) : at(static_cast<const uint8_t *>(src.vorn_cv_vals)) {
    const bool pairs = form == identifier_form::ridvalue || form == identifier_form::ridvalue_rid;
    step = pairs ? 16 : stride_of(src);
    size = pairs ? 8 : std::min<uint32_t>(step, 8);
    if (form == identifier_form::ridvalue)
      at += 8;
  }

  template <class T>
  void widen(uint64_t *ids, uint64_t first, uint32_t count) const {
    for (uint32_t i = 0; i < count; ++i)
      ids[i] = load<T>(at + (first + i) * step);
  }

  void read(uint64_t *ids, uint64_t first, uint32_t count) const {
    switch (size) {
    case 8:
      return widen<uint64_t>(ids, first, count);
    case 4:
      return widen<uint32_t>(ids, first, count);
    case 2:
      return widen<uint16_t>(ids, first, count);
    case 1:
      return widen<uint8_t>(ids, first, count);
    default:
      for (uint32_t i = 0; i < count; ++i) {
        ids[i] = 0;
        copy_short(reinterpret_cast<uint8_t *>(&ids[i]), at + (first + i) * step, size);
      }
    }
  }

  const uint8_t *at;
  uint32_t step;
  uint32_t size;
};

// The values of a table.  What it takes of dlp words is told by the encoding context of the result.
class stored_values {
public:
  stored_values(storage_kind kind, identifier_form form, const vorn_cv &src, const vorn_transpose_table &table,
                const vorn_cv &res, row_form result)
      : kind_(kind), ids_(form, src), table_(table), one_partition_(table.vorn_tt_row_bits >= 64),
        row_mask_(low_bits(table.vorn_tt_row_bits)), part_mask_(low_bits(uint64_t{table.vorn_tt_hi_bit} + 1)),
        shift_(res.vorn_cv_encoding_context->vorn_enc_ctx_dlp_shift),
        bases_(result == row_form::dlp ? nullptr : res.vorn_cv_encoding_context->vorn_enc_ctx_dlp_table) {}

  void locate(located *out, uint64_t first, uint32_t count) const {
    uint64_t ids[block_rows];
    ids_.read(ids, first, count);
    for (uint32_t i = 0; i < count; ++i) {
      const uint64_t row = ids[i] & row_mask_;
      const uint64_t partition = one_partition_ ? 0 : (ids[i] & part_mask_) >> table_.vorn_tt_row_bits;
      out[i] = find(partition, row);
      __builtin_prefetch(out[i].held.at);
    }
  }

private:
  located find(uint64_t partition, uint64_t row) const {
    switch (kind_) {
    case storage_kind::lp:
      return in_partition(load_lp(static_cast<const uint8_t *>(table_.vorn_tt_in_refs[partition]) + row * lp_size),
                          partition);
    case storage_kind::dlp: {
      const auto word = load<uint64_t>(table_.vorn_tt_dlp[partition], row);
      const uint64_t field = word >> 16 & low_bits(shift_);
      const uint8_t *at = bases_ == nullptr ? nullptr : static_cast<const uint8_t *>(bases_[0]) + field;
      return {{at, static_cast<uint16_t>(word)}, field};
    }
    default: {
      const void *offsets = table_.vorn_tt_cla[partition];
      const auto offset = load<uint32_t>(offsets, row);
      const auto length = static_cast<uint16_t>(load<uint32_t>(offsets, row + 1) - offset);
      return in_partition({static_cast<const uint8_t *>(table_.vorn_tt_data[partition]) + offset, length}, partition);
    }
    }
  }

  // The field keeps the partition and the low bits of the address.
  located in_partition(value held, uint64_t partition) const {
    const uint64_t low = reinterpret_cast<uintptr_t>(held.at) & low_bits(shift_);
    return {held, (shift_ < 64 ? partition << shift_ : 0) + low};
  }

  storage_kind kind_;
  identifiers ids_;
  const vorn_transpose_table &table_;
  bool one_partition_;
  uint64_t row_mask_;
  uint64_t part_mask_;
  uint8_t shift_;
  void *const *bases_; // null when the offsets are all that is wanted
};

// The values that a vector refers to.
template <class Rows>
struct referred_values {
  void locate(located *out, uint64_t, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      out[i] = {rows.next(), 0};
      __builtin_prefetch(out[i].held.at);
    }
  }

  Rows rows;
};

// The result: what a value takes of vals, and how it is written.
class gather_output {
public:
  gather_output(row_form form, const vorn_cv &res, uint16_t fixed_size)
      : form_(form), out_(static_cast<uint8_t *>(res.vorn_cv_vals)), lens_(static_cast<uint8_t *>(res.vorn_cv_lens)),
        room_(res.vorn_cv_size), fixed_size_(fixed_size) {}

  // Writes values, the first of which belongs to `row`, as long as there is room; returns how many.
  uint32_t write(const located *values, uint64_t row, uint32_t count) {
    switch (form_) {
    case row_form::fixed:
      return write_each(values, count, [&](value v) { return copy(v.at, fixed_size_); });
    case row_form::lv_sep:
      return write_each(values, count, [&](value v) {
        if (!copy(v.at, v.length))
          return false;
        put_length(v);
        return true;
      });
    case row_form::lv:
      return write_each(values, count, [&](value v) {
        uint8_t *at = take(2U + v.length);
        if (at == nullptr)
          return false;
        store<uint16_t>(at, v.length);
        copy_bytes(at + 2, v.at, v.length);
        return true;
      });
    case row_form::lp_sep:
      return write_each(values, count, [&](value v) {
        uint8_t *at = take(sizeof v.at);
        if (at == nullptr)
          return false;
        store<const uint8_t *>(at, v.at);
        put_length(v);
        return true;
      });
    case row_form::lp:
      return write_each(values, count, [&](value v) {
        uint8_t *at = take(lp_size);
        if (at == nullptr)
          return false;
        store_lp(at, v);
        return true;
      });
    default: // dlp, which needs no room
      for (uint32_t i = 0; i < count; ++i)
        store<uint64_t>(out_ + (row + i) * sizeof(uint64_t), values[i].field << 16 | values[i].held.length);
      return count;
    }
  }

private:
  template <class Write>
  uint32_t write_each(const located *values, uint32_t count, Write write) {
    for (uint32_t i = 0; i < count; ++i)
      if (!write(values[i].held))
        return i;
    return count;
  }

  // The next `size` bytes of vals; null when there are not as many.
  uint8_t *take(uint32_t size) {
    if (room_ < size)
      return nullptr;
    uint8_t *at = out_;
    out_ += size;
    room_ -= size;
    return at;
  }

  bool copy(const uint8_t *bytes, uint32_t size) {
    uint8_t *at = take(size);
    if (at != nullptr)
      copy_bytes(at, bytes, size);
    return at != nullptr;
  }

  void put_length(value v) {
    store<uint16_t>(lens_, v.length);
    lens_ += sizeof v.length;
  }

  row_form form_;
  uint8_t *out_;
  uint8_t *lens_;
  uint64_t room_;
  uint16_t fixed_size_;
};

template <class Values>
uint32_t gather(Values values, gather_output output, const vorn_cv &src, vorn_aux &aux) {
  for (uint32_t row = aux.vorn_aux_start_slot; row < src.vorn_cv_nrows;) {
    located block[block_rows];
    const uint32_t count = std::min(src.vorn_cv_nrows - row, block_rows);
    values.locate(block, row, count);
    const uint32_t written = output.write(block, row, count);
    row += written;
    if (written < count) {
      aux.vorn_aux_start_slot = row;
      return VORN_RESULT_OUTPUT_FULL;
    }
  }
  aux.vorn_aux_start_slot = src.vorn_cv_nrows;
  return VORN_RESULT_DONE;
}

[[gnu::noinline]] inline uint32_t gather_stored(storage_kind kind, row_form result, identifier_form form,
                                                const vorn_cv &res, const vorn_cv &src,
                                                const vorn_transpose_table &table, vorn_aux &aux) {
  const auto fixed_size = static_cast<uint16_t>(table.vorn_tt_width / 8);
  return gather(stored_values(kind, form, src, table, res, result), gather_output(result, res, fixed_size), src, aux);
}

[[gnu::noinline]] inline uint32_t gather_referred(row_form result, row_form form, const vorn_cv &res,
                                                  const vorn_cv &src, vorn_aux &aux) {
  const uint32_t first = aux.vorn_aux_start_slot;
  const gather_output output(result, res, 0);
  if (form == row_form::dlp)
    return gather(referred_values<dlp_rows>{dlp_rows_of(src, first)}, output, src, aux);
  return visit_values(src, form, {first},
                      [&](auto rows) { return gather(referred_values<decltype(rows)>{rows}, output, src, aux); });
}

} // namespace vorn::inline VORN_LEVEL
