// Gather: values that identifiers select in a table, or that a vector refers to, are written in the form of the result.
// A block of values is looked up before it is written, so that the cache misses of the block overlap.
#pragma once

#include <algorithm>

#include "generic/copy.hpp"
#include "generic/join/rows.hpp"

namespace vorn::inline VORN_LEVEL::join {

// What a table stores: the flag that names it.
enum class storage_kind : uint32_t { none = 0, lp = VORN_TT_LP, dlp = VORN_TT_DLP, cla = VORN_TT_CLA };

inline constexpr uint32_t gather_block = 64;

// The values of a block of rows, and their offset fields in dlp words if the result has dlp words.
struct located_values {
  value values[gather_block];
  uint64_t fields[gather_block];
  uint64_t bytes; // of all values

  // Field by field.  A copy of the record as a whole would wait for the stores of its fields.
  void put(uint32_t i, value found) {
    values[i].at = found.at;
    values[i].length = found.length;
  }

  located_values() {} // NOLINT(cppcoreguidelines-pro-type-member-init): the arrays are written before they are read
};

// Row identifiers: numbers of 1 to 8 bytes, or one half of a pair.
struct identifiers {
  identifiers(const vorn_cv &src, const vorn_aux &aux) : at_(static_cast<const uint8_t *>(src.vorn_cv_vals)) {
    const bool pairs = !(flags_of(src) & VORN_FIXED);
    step_ = pairs ? pair_size : stride_of(src);
    size_ = pairs ? 8 : std::min<uint32_t>(step_, 8);
    if (pairs && !(aux.vorn_aux_flags & VORN_AUX_RID))
      at_ += 8;
  }

  void read(uint64_t *ids, uint64_t first, uint32_t count) const {
    switch (step_) {
    case pair_size:
      return widen<uint64_t, pair_size>(ids, first, count);
    case 8:
      return widen<uint64_t, 8>(ids, first, count);
    case 4:
      return widen<uint32_t, 4>(ids, first, count);
    case 2:
      return widen<uint16_t, 2>(ids, first, count);
    case 1:
      return widen<uint8_t, 1>(ids, first, count);
    default:
      for (uint32_t i = 0; i < count; ++i) {
        ids[i] = 0;
        copy_short(reinterpret_cast<uint8_t *>(&ids[i]), at_ + (first + i) * step_, size_);
      }
    }
  }

private:
  static constexpr uint32_t pair_size = 16;

  template <class T, uint32_t Step>
  void widen(uint64_t *ids, uint64_t first, uint32_t count) const {
    for (uint32_t i = 0; i < count; ++i)
      ids[i] = load<T>(at_ + (first + i) * Step);
  }

  const uint8_t *at_;
  uint32_t step_;
  uint32_t size_;
};

// What a result needs of a value.
enum class value_use : uint8_t { bytes, address, field };

// The rows of one partition, by the kind of the table.
struct lp_partition {
  lp_partition(const vorn_transpose_table &table, const vorn_enc_ctx &, uint64_t partition, value_use)
      : records(static_cast<const uint8_t *>(table.vorn_tt_in_refs[partition])) {}

  value at(uint64_t row) const { return load_lp(records + row * lp_size); }

  const uint8_t *records;
};
struct dlp_partition {
  // A result of offset fields has no table of bases.
  dlp_partition(const vorn_transpose_table &table, const vorn_enc_ctx &result, uint64_t partition, value_use use)
      : words(static_cast<const uint8_t *>(table.vorn_tt_dlp[partition])),
        base(use == value_use::field ? 0 : reinterpret_cast<uintptr_t>(result.vorn_enc_ctx_dlp_table[0])),
        field_mask(low_bits(result.vorn_enc_ctx_dlp_shift)) {}

  value at(uint64_t row) const {
    const auto word = load<uint64_t>(words, row);
    // Without a base the result is no address, and a null pointer has no bytes after it.
    const uintptr_t address = base + (word >> 16 & field_mask);
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return {reinterpret_cast<const uint8_t *>(address), static_cast<uint16_t>(word)};
  }

  const uint8_t *words;
  uintptr_t base;
  uint64_t field_mask;
};
struct cla_partition {
  cla_partition(const vorn_transpose_table &table, const vorn_enc_ctx &, uint64_t partition, value_use)
      : offsets(static_cast<const uint8_t *>(table.vorn_tt_cla[partition])),
        data(static_cast<const uint8_t *>(table.vorn_tt_data[partition])) {}

  value at(uint64_t row) const {
    const auto offset = load<uint32_t>(offsets, row);
    return {data + offset, static_cast<uint16_t>(load<uint32_t>(offsets, row + 1) - offset)};
  }

  const uint8_t *offsets;
  const uint8_t *data;
};

// The values of a table.  The encoding context of the result describes the dlp words of the table.
class stored_values {
public:
  stored_values(storage_kind kind, const identifiers &ids, const vorn_transpose_table &table, const vorn_cv &res,
                row_form result)
      : kind_(kind), use_(result == row_form::dlp                                ? value_use::field
                          : result == row_form::lp || result == row_form::lp_sep ? value_use::address
                                                                                 : value_use::bytes),
        ids_(ids), table_(table), enc_(*res.vorn_cv_encoding_context) {}

  void locate(located_values &out, uint64_t first, uint32_t count) const {
    uint64_t ids[gather_block];
    ids_.read(ids, first, count);
    switch (kind_) {
    case storage_kind::lp:
      return locate_in<lp_partition>(out, ids, count);
    case storage_kind::dlp:
      return locate_in<dlp_partition>(out, ids, count);
    default: // cla
      return locate_in<cla_partition>(out, ids, count);
    }
  }

private:
  struct place {
    value found;
    uint64_t partition;
  };

  // A table with one partition has a loop of its own, which reads the addresses of the partition once.
  template <class Partition>
  void locate_in(located_values &out, const uint64_t *ids, uint32_t count) const {
    const vorn_transpose_table &table = table_;
    const vorn_enc_ctx &enc = enc_;
    const value_use use = use_;
    const unsigned row_bits = table.vorn_tt_row_bits;
    if (row_bits >= 64) {
      const Partition only(table, enc, 0, use);
      return locate_rows<Partition>(out, ids, count, [=](uint64_t id) { return place{only.at(id), 0}; });
    }
    const uint64_t row_mask = low_bits(row_bits), part_mask = low_bits(uint64_t{table.vorn_tt_hi_bit} + 1);
    locate_rows<Partition>(out, ids, count, [&table, &enc, use, row_bits, row_mask, part_mask](uint64_t id) {
      const uint64_t partition = (id & part_mask) >> row_bits;
      return place{Partition(table, enc, partition, use).at(id & row_mask), partition};
    });
  }

  template <class Partition, class Find>
  void locate_rows(located_values &out, const uint64_t *ids, uint32_t count, Find find) const {
    switch (use_) {
    case value_use::bytes:
      return locate_each(out, ids, count, find, [](uint32_t, const place &at) { __builtin_prefetch(at.found.at); });
    case value_use::address:
      return locate_each(out, ids, count, find, [](uint32_t, const place &) {});
    default: // field: the partition and the low bits of the address; dlp tables have the field itself
      const unsigned shift = enc_.vorn_enc_ctx_dlp_shift;
      const uint64_t low = low_bits(shift);
      return locate_each(out, ids, count, find, [&out, shift, low](uint32_t i, const place &at) {
        const auto address = reinterpret_cast<uintptr_t>(at.found.at);
        out.fields[i] = std::is_same_v<Partition, dlp_partition>
                            ? address
                            : (shift < 64 ? at.partition << shift : 0) + (address & low);
      });
    }
  }

  template <class Find, class Then>
  static void locate_each(located_values &out, const uint64_t *ids, uint32_t count, Find find, Then then) {
    uint64_t bytes = 0;
    for (uint32_t i = 0; i < count; ++i) {
      const place at = find(ids[i]);
      out.put(i, at.found);
      bytes += at.found.length;
      then(i, at);
    }
    out.bytes = bytes;
  }

  storage_kind kind_;
  value_use use_;
  identifiers ids_;
  const vorn_transpose_table &table_;
  const vorn_enc_ctx &enc_;
};

// The values that a vector refers to.
template <class Rows>
struct referred_values {
  void locate(located_values &out, uint64_t, uint32_t count) {
    Rows next = rows; // a copy is not read again after each written value
    uint64_t bytes = 0;
    for (uint32_t i = 0; i < count; ++i) {
      const value found = next.next();
      out.put(i, found);
      bytes += found.length;
      __builtin_prefetch(found.at);
    }
    out.bytes = bytes;
    rows = next;
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
  uint32_t write(const located_values &located, uint64_t row, uint32_t count) {
    const uint32_t fixed_size = fixed_size_;
    uint8_t *lens = lens_;
    switch (form_) {
    case row_form::fixed:
      switch (fixed_size) { // sizes of numbers are copied as such
      case 4:
        return write_numbers<uint32_t>(located, count);
      case 8:
        return write_numbers<uint64_t>(located, count);
      default:
        return write_each<false>(located, count, fixed_size, [=](uint8_t *out, const uint8_t *end, value v) {
          copy_value(out, end, v.at, fixed_size);
        });
      }
    case row_form::lv_sep:
      lens_ += count * sizeof(uint16_t);
      return write_each<true>(located, count, 0, [&](uint8_t *out, const uint8_t *end, value v) {
        copy_value(out, end, v.at, v.length);
        store_length(lens, v);
      });
    case row_form::lv:
      return write_each<true>(located, count, sizeof(uint16_t), [](uint8_t *out, const uint8_t *end, value v) {
        store<uint16_t>(out, v.length);
        copy_value(out + sizeof v.length, end, v.at, v.length);
      });
    case row_form::lp_sep:
      lens_ += count * sizeof(uint16_t);
      return write_each<false>(located, count, sizeof(uint64_t), [&](uint8_t *out, const uint8_t *, value v) {
        store<const uint8_t *>(out, v.at);
        store_length(lens, v);
      });
    case row_form::lp:
      return write_each<false>(located, count, lp_size,
                               [](uint8_t *out, const uint8_t *, value v) { store_lp(out, v); });
    default: { // dlp, without a test of the room
      uint8_t *const out = out_ + row * sizeof(uint64_t);
      for (uint32_t i = 0; i < count; ++i)
        store<uint64_t>(out + i * sizeof(uint64_t), located.fields[i] << 16 | located.values[i].length);
      return count;
    }
    }
  }

private:
  template <class Number>
  uint32_t write_numbers(const located_values &located, uint32_t count) {
    return write_each<false>(located, count, sizeof(Number),
                             [](uint8_t *out, const uint8_t *, value v) { store<Number>(out, load<Number>(v.at)); });
  }

  // A value takes `size` bytes, and its own bytes if HasBytes.  write_value(out, end, value) may write any bytes before
  // `end`, since the values after it overwrite them.
  template <bool HasBytes, class Write>
  uint32_t write_each(const located_values &located, uint32_t count, uint32_t size, Write write_value) {
    const value *const values = located.values;
    const auto size_of = [=](value v) { return size + (HasBytes ? v.length : 0U); };
    uint64_t needed = uint64_t{size} * count + (HasBytes ? located.bytes : 0);
    uint32_t written = count;
    if (needed > room_) {
      needed = written = 0;
      for (; needed + size_of(values[written]) <= room_; ++written)
        needed += size_of(values[written]);
    }
    uint8_t *out = out_;
    const uint8_t *const end = out + needed;
    for (uint32_t i = 0; i < written; ++i) {
      write_value(out, end, values[i]);
      out += size_of(values[i]);
    }
    out_ = out;
    room_ -= needed;
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
  located_values blocks[2];
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
    const located_values &block = blocks[(row - aux.vorn_aux_start_slot) / gather_block % 2];
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
