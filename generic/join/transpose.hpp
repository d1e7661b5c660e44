// Transposition: columns become a matrix of references.  The rows of a matrix become records or values in one output.
#pragma once

#include <algorithm>

#include "generic/copy.hpp"
#include "generic/join/rows.hpp"

namespace vorn::inline VORN_LEVEL::join {

inline uint32_t refer_to_column(row_form form, const vorn_transpose_table &table, const vorn_cv &src, uint32_t col,
                                int32_t arr) {
  const uint64_t row_size = uint64_t{table.vorn_tt_ncols} * lp_size;
  auto *entry = static_cast<uint8_t *>(table.vorn_tt_refs[arr]) + uint64_t{static_cast<uint16_t>(col)} * lp_size;
  return visit_values(src, form, {}, [&](auto rows) -> uint32_t {
    for (uint32_t row = 0; row < src.vorn_cv_nrows; ++row, entry += row_size)
      store_lp(entry, rows.next());
    return VORN_RESULT_DONE;
  });
}

// The index of an output.  begin() and close() add a record, add() adds a single value.

// The end offset of every item, 32 bits each.  A 0 comes before the first row.
class end_offsets {
public:
  static constexpr uint32_t counted_head = sizeof(uint16_t); // the size of a record includes the lengths in it

  end_offsets(const vorn_transpose_table &dst, int32_t arr, bool at_first_row)
      : cursor_(static_cast<uint8_t *>(dst.vorn_tt_offsets[arr])) {
    if (at_first_row)
      add(nullptr, 0);
    else
      end_ = load<uint32_t>(cursor_ - sizeof end_);
  }

  void begin(const uint8_t *) {}
  void close(uint16_t size) { add(nullptr, size); }
  void add(const uint8_t *, uint16_t size) {
    end_ += size;
    store<uint32_t>(cursor_, end_);
    cursor_ += sizeof end_;
  }
  void save_position(const vorn_transpose_table &dst, int32_t arr) const { dst.vorn_tt_offsets[arr] = cursor_; }

private:
  uint8_t *cursor_;
  uint32_t end_ = 0;
};

// A length-pointer entry for every item.
class lp_entries {
public:
  static constexpr uint32_t counted_head = 0;

  lp_entries(const vorn_transpose_table &dst, int32_t arr, bool)
      : entry_(static_cast<uint8_t *>(dst.vorn_tt_refs[arr])) {}

  void begin(const uint8_t *at) { store<const uint8_t *>(entry_ + 8, at); }
  void close(uint16_t size) {
    store<uint16_t>(entry_, size);
    entry_ += lp_size;
  }
  void add(const uint8_t *at, uint16_t size) {
    begin(at);
    close(size);
  }
  void save_position(const vorn_transpose_table &dst, int32_t arr) const { dst.vorn_tt_refs[arr] = entry_; }

private:
  uint8_t *entry_;
};

// Copies rows of a matrix to an output.
template <class Index, bool ByRow>
class row_converter {
public:
  row_converter(const vorn_transpose_table &dst, const vorn_transpose_table &src, int32_t dst_arr, int32_t src_arr,
                bool at_first_row)
      : index_(dst, dst_arr, at_first_row), position_(static_cast<uint8_t *>(dst.vorn_tt_pos[dst_arr])),
        end_(static_cast<const uint8_t *>(dst.vorn_tt_end[dst_arr])),
        entries_(static_cast<const uint8_t *>(src.vorn_tt_in_refs[src_arr])), ncols_(src.vorn_tt_ncols) {}

  // Copies the rows from first to before `stop` as long as there is room.  Returns the row after the last copied one.
  uint64_t convert(uint64_t row, uint64_t stop) {
    const uint64_t wide_stop = without_last_bytes(row, stop);
    while (row < stop) {
      row = copy_wide_rows(row, wide_stop);
      for (const uint64_t next = std::min(row + rows_at_once, stop); row < next; ++row)
        if (!copy_row(static_cast<uint32_t>(row)))
          return row;
    }
    return row;
  }

  void save_position(const vorn_transpose_table &dst, int32_t arr) const {
    dst.vorn_tt_pos[arr] = position_;
    index_.save_position(dst, arr);
  }

private:
  static constexpr uint32_t head = ByRow ? sizeof(uint16_t) : 0;
  static constexpr uint32_t rows_at_once = 4; // after a row that needs other copies, since more may follow

  // Entries are counted in 32 bits.
  value entry(uint32_t row, uint32_t column) const {
    return load_lp(entries_ + uint64_t{row * ncols_ + column} * lp_size);
  }

  // The first of the last rows that have enough bytes to overwrite what a wide copy writes after its value.
  uint64_t without_last_bytes(uint64_t row, uint64_t stop) const {
    for (uint64_t size = 0; stop > row && size < wide_copy; --stop)
      for (uint32_t column = 0; column < ncols_; ++column)
        size += head + entry(static_cast<uint32_t>(stop - 1), column).length;
    return stop;
  }

  // Copies rows by wide copies.  Stops at a row with a value that needs another copy, or if wide copies of all values
  // may not fit.
  [[gnu::noinline]] uint64_t copy_wide_rows(const uint64_t first, uint64_t stop) {
    const uint64_t row_entries = uint64_t{ncols_} * lp_size, most = (head + wide_copy) * std::max(1U, ncols_);
    const uint32_t first_entry = static_cast<uint32_t>(first) * ncols_;
    const uint64_t rows_with_room = static_cast<uint64_t>(std::max<int64_t>(end_ - position_, 0)) / most;
    const uint64_t rows_before_wrap = ((uint64_t{1} << 32) - first_entry) / std::max(1U, ncols_);
    stop = std::min(stop, first + std::min(rows_with_room, rows_before_wrap));
    const uint8_t *cell_entry = entries_ + uint64_t{first_entry} * lp_size;
    uint8_t *at = position_;
    Index next = index_;
    uint64_t row = first;
    for (; row < stop; ++row) {
      uint8_t *const row_at = at;
      const Index row_next = next;
      uint16_t row_size = 0;
      if constexpr (ByRow)
        next.begin(at);
      for (const uint8_t *const row_end = cell_entry + row_entries; cell_entry != row_end; cell_entry += lp_size) {
        const value cell = load_lp(cell_entry);
        const uint8_t *const from = cell.length == 0 ? cell_entry : cell.at; // an empty value may have any address
        if (cell.length > wide_copy || !can_copy_wide(from)) [[unlikely]] {
          position_ = row_at;
          index_ = row_next;
          return row;
        }
        if constexpr (ByRow) {
          store<uint16_t>(at, cell.length);
          row_size = static_cast<uint16_t>(row_size + cell.length + Index::counted_head);
        } else {
          next.add(at, cell.length);
        }
        copy_wide(at + head, from);
        at += head + cell.length;
      }
      if constexpr (ByRow)
        next.close(row_size);
    }
    position_ = at;
    index_ = next;
    return row;
  }

  // Copies a row, or returns false if there is no room.  A row that does not fit leaves bytes in the output, but no
  // position includes them.
  bool copy_row(uint32_t row) {
    uint8_t *at = position_;
    Index next = index_;
    uint16_t row_size = 0;
    if constexpr (ByRow)
      next.begin(at);
    for (uint32_t column = 0; column < ncols_; ++column) {
      const value cell = entry(row, column);
      if (end_ - at < int64_t{cell.length + head})
        return false;
      if constexpr (ByRow) {
        store<uint16_t>(at, cell.length);
        row_size = static_cast<uint16_t>(row_size + cell.length + Index::counted_head);
      } else {
        next.add(at, cell.length);
      }
      copy_bytes(at + head, cell.at, cell.length);
      at += head + cell.length;
    }
    if constexpr (ByRow)
      next.close(row_size);
    position_ = at;
    index_ = next;
    return true;
  }

  Index index_;
  uint8_t *position_;
  const uint8_t *const end_;
  const uint8_t *const entries_;
  const uint32_t ncols_;
};

template <class Index, bool ByRow>
[[gnu::noinline]] uint32_t convert_rows(const vorn_transpose_table &dst, const vorn_transpose_table &src,
                                        int32_t dst_arr, int32_t src_arr, uint32_t first, uint32_t last,
                                        vorn_aux &aux) {
  row_converter<Index, ByRow> rows(dst, src, dst_arr, src_arr, first == 0);
  const uint64_t row = rows.convert(first, uint64_t{last} + 1);
  aux.vorn_aux_start_slot = static_cast<uint32_t>(row);
  rows.save_position(dst, dst_arr);
  return row <= last ? VORN_RESULT_TRANSPOSE_FULL : VORN_RESULT_DONE;
}

template <class Index>
uint32_t convert(bool by_row, const vorn_transpose_table &dst, const vorn_transpose_table &src, int32_t dst_arr,
                 int32_t src_arr, uint32_t first, uint32_t last, vorn_aux &aux) {
  return (by_row ? convert_rows<Index, true> : convert_rows<Index, false>) (dst, src, dst_arr, src_arr, first, last,
                                                                            aux);
}

} // namespace vorn::inline VORN_LEVEL::join
