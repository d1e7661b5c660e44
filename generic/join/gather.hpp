// Gather: values that identifiers select in a table, or that a vector refers to, are written in the form of the result.
// A block of values is looked up before it is written, so that the cache misses of the block overlap.
#pragma once

#include <algorithm>

#include "generic/copy.hpp"
#include "generic/join/rows.hpp"

namespace vorn::inline VORN_LEVEL::join {

// What a table stores: the flag that names it.
enum class storage_kind : uint32_t { none = 0, lp = VORN_TT_LP, dlp = VORN_TT_DLP, cla = VORN_TT_CLA };

// A value, and its offset field in a dlp word.
struct located_value {
  value bytes;
  uint64_t field;
};

inline constexpr uint32_t gather_block = 64;

// Row identifiers: numbers of 1 to 8 bytes, or one half of a pair.
struct identifiers {
  identifiers(const vorn_cv &src, const vorn_aux &aux) : at(static_cast<const uint8_t *>(src.vorn_cv_vals)) {
    const bool pairs = !(flags_of(src) & VORN_FIXED);
    step = pairs ? 16 : stride_of(src);
    size = pairs ? 8 : std::min<uint32_t>(step, 8);
    if (pairs && !(aux.vorn_aux_flags & VORN_AUX_RID))
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

// The values of a table.  The encoding context of the result describes the dlp words of the table.
class stored_values {
public:
  stored_values(storage_kind kind, const identifiers &ids, const vorn_transpose_table &table, const vorn_cv &res,
                row_form result)
      : kind_(kind), ids_(ids), table_(table), one_partition_(table.vorn_tt_row_bits >= 64),
        row_mask_(low_bits(table.vorn_tt_row_bits)), part_mask_(low_bits(uint64_t{table.vorn_tt_hi_bit} + 1)),
        shift_(res.vorn_cv_encoding_context->vorn_enc_ctx_dlp_shift),
        bases_(result == row_form::dlp ? nullptr : res.vorn_cv_encoding_context->vorn_enc_ctx_dlp_table) {}

  void locate(located_value *out, uint64_t first, uint32_t count) const {
    switch (kind_) {
    case storage_kind::lp:
      return locate_rows(out, first, count, [](const stored_values &all, uint64_t partition, uint64_t row) {
        const auto *records = static_cast<const uint8_t *>(all.table_.vorn_tt_in_refs[partition]);
        return all.in_partition(load_lp(records + row * lp_size), partition);
      });
    case storage_kind::dlp:
      return locate_rows(out, first, count, [](const stored_values &all, uint64_t partition, uint64_t row) {
        const auto word = load<uint64_t>(all.table_.vorn_tt_dlp[partition], row);
        const uint64_t field = word >> 16 & low_bits(all.shift_);
        const uint8_t *at = all.bases_ == nullptr ? nullptr : static_cast<const uint8_t *>(all.bases_[0]) + field;
        return located_value{{at, static_cast<uint16_t>(word)}, field};
      });
    default: // cla
      return locate_rows(out, first, count, [](const stored_values &all, uint64_t partition, uint64_t row) {
        const void *offsets = all.table_.vorn_tt_cla[partition];
        const auto offset = load<uint32_t>(offsets, row);
        const auto length = static_cast<uint16_t>(load<uint32_t>(offsets, row + 1) - offset);
        const auto *data = static_cast<const uint8_t *>(all.table_.vorn_tt_data[partition]);
        return all.in_partition({data + offset, length}, partition);
      });
    }
  }

private:
  // find is a type, so that each kind has its own loop.
  template <class Find>
  void locate_rows(located_value *out, uint64_t first, uint32_t count, Find find) const {
    uint64_t ids[gather_block];
    ids_.read(ids, first, count);
    const stored_values all = *this; // a copy is not read again after each written value
    for (uint32_t i = 0; i < count; ++i) {
      const uint64_t row = ids[i] & all.row_mask_;
      const uint64_t partition = all.one_partition_ ? 0 : (ids[i] & all.part_mask_) >> all.table_.vorn_tt_row_bits;
      out[i] = find(all, partition, row);
      __builtin_prefetch(out[i].bytes.at);
    }
  }

  // The offset field holds the partition and the low bits of the address.
  located_value in_partition(value bytes, uint64_t partition) const {
    const uint64_t low = reinterpret_cast<uintptr_t>(bytes.at) & low_bits(shift_);
    return {bytes, (shift_ < 64 ? partition << shift_ : 0) + low};
  }

  storage_kind kind_;
  identifiers ids_;
  const vorn_transpose_table &table_;
  bool one_partition_;
  uint64_t row_mask_;
  uint64_t part_mask_;
  uint8_t shift_;
  void *const *bases_; // null when the result holds offsets only
};

// The values that a vector refers to.
template <class Rows>
struct referred_values {
  void locate(located_value *out, uint64_t, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      out[i] = {rows.next(), 0};
      __builtin_prefetch(out[i].bytes.at);
    }
  }

  Rows rows;
};

// The result: how many bytes of vals a value takes, and how it is written.
class gather_output {
public:
  gather_output(row_form form, const vorn_cv &res, uint16_t fixed_size)
      : form_(form), out_(static_cast<uint8_t *>(res.vorn_cv_vals)), lens_(static_cast<uint8_t *>(res.vorn_cv_lens)),
        room_(res.vorn_cv_size), fixed_size_(fixed_size) {}

  // Writes values while there is room and returns their number.  The first value belongs to `row`.
  uint32_t write(const located_value *values, uint64_t row, uint32_t count) {
    const auto of_value = [](value v) { return uint32_t{v.length}; };
    const uint32_t fixed_size = fixed_size_;
    uint8_t *lens = lens_;
    switch (form_) {
    case row_form::fixed:
      return write_each(
          values, count, [=](value) { return fixed_size; },
          [=](uint8_t *out, const uint8_t *end, value v) { copy_value(out, end, v.at, fixed_size); });
    case row_form::lv_sep:
      lens_ += count * sizeof(uint16_t);
      return write_each(values, count, of_value, [&](uint8_t *out, const uint8_t *end, value v) {
        copy_value(out, end, v.at, v.length);
        store_length(lens, v);
      });
    case row_form::lv:
      return write_each(
          values, count, [](value v) { return 2U + v.length; },
          [](uint8_t *out, const uint8_t *end, value v) {
            store<uint16_t>(out, v.length);
            copy_value(out + 2, end, v.at, v.length);
          });
    case row_form::lp_sep:
      lens_ += count * sizeof(uint16_t);
      return write_each(
          values, count, [](value) { return uint32_t{sizeof(uint64_t)}; },
          [&](uint8_t *out, const uint8_t *, value v) {
            store<const uint8_t *>(out, v.at);
            store_length(lens, v);
          });
    case row_form::lp:
      return write_each(
          values, count, [](value) { return lp_size; },
          [](uint8_t *out, const uint8_t *, value v) { store_lp(out, v); });
    default: // dlp, without a test of the room
      for (uint32_t i = 0; i < count; ++i)
        store<uint64_t>(out_ + (row + i) * sizeof(uint64_t), values[i].field << 16 | values[i].bytes.length);
      return count;
    }
  }

private:
  // Writes values of size_of(value) bytes each.  write_value(out, end, value) may write any bytes before `end`, since
  // the values after it overwrite them.
  template <class Size, class Write>
  uint32_t write_each(const located_value *values, uint32_t count, Size size_of, Write write_value) {
    uint64_t room = room_, needed = 0;
    uint32_t written = 0;
    for (; written < count && needed + size_of(values[written].bytes) <= room; ++written)
      needed += size_of(values[written].bytes);
    uint8_t *out = out_;
    const uint8_t *const end = out + needed;
    for (uint32_t i = 0; i < written; ++i) {
      write_value(out, end, values[i].bytes);
      out += size_of(values[i].bytes);
    }
    out_ = out;
    room_ = room - needed;
    return written;
  }

  static void store_length(uint8_t *&lens, value v) {
    store<uint16_t>(lens, v.length);
    lens += sizeof v.length;
  }

  row_form form_;
  uint8_t *out_;
  uint8_t *lens_;
  uint64_t room_;
  uint16_t fixed_size_;
};

// The values of a block are located, and so prefetched, before the values of the block before it are written.
template <class Values>
uint32_t gather(Values values, gather_output output, const vorn_cv &src, vorn_aux &aux) {
  located_value blocks[2][gather_block];
  const uint32_t nrows = src.vorn_cv_nrows;
  uint32_t row = aux.vorn_aux_start_slot, located = row;
  const auto locate_next = [&] {
    const uint32_t count = std::min(nrows - located, gather_block);
    values.locate(blocks[(located - aux.vorn_aux_start_slot) / gather_block % 2], located, count);
    located += count;
    return count;
  };
  if (row < nrows)
    locate_next();
  while (row < nrows) {
    const located_value *block = blocks[(row - aux.vorn_aux_start_slot) / gather_block % 2];
    const uint32_t count = located - row;
    if (located < nrows)
      locate_next();
    const uint32_t written = output.write(block, row, count);
    row += written;
    if (written < count) {
      aux.vorn_aux_start_slot = row;
      return VORN_RESULT_OUTPUT_FULL;
    }
  }
  aux.vorn_aux_start_slot = nrows;
  return VORN_RESULT_DONE;
}

[[gnu::noinline]] inline uint32_t gather_stored(storage_kind kind, row_form result, const vorn_cv &res,
                                                const vorn_cv &src, const vorn_transpose_table &table, vorn_aux &aux) {
  const auto fixed_size = static_cast<uint16_t>(table.vorn_tt_width / 8);
  return gather(stored_values(kind, identifiers(src, aux), table, res, result), gather_output(result, res, fixed_size),
                src, aux);
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

} // namespace vorn::inline VORN_LEVEL::join
