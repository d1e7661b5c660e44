// Transposition: columns become a matrix of references.  The rows of a matrix become records or values in one output.
#pragma once

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

// Copies the rows first to last.  A row that does not fit leaves bytes in the output, but no position includes them.
template <class Index>
[[gnu::noinline]] uint32_t convert_rows(bool by_row, const vorn_transpose_table &dst, const vorn_transpose_table &src,
                                        int32_t dst_arr, int32_t src_arr, uint32_t first, uint32_t last,
                                        vorn_aux &aux) {
  Index index(dst, dst_arr, first == 0);
  auto *position = static_cast<uint8_t *>(dst.vorn_tt_pos[dst_arr]);
  const auto *end = static_cast<const uint8_t *>(dst.vorn_tt_end[dst_arr]);
  const auto *entries = static_cast<const uint8_t *>(src.vorn_tt_in_refs[src_arr]);
  const uint32_t ncols = src.vorn_tt_ncols;
  const uint32_t head = by_row ? sizeof(uint16_t) : 0;

  const auto convert = [&](uint32_t row) {
    uint8_t *at = position;
    Index next = index;
    uint16_t row_size = 0;
    if (by_row)
      next.begin(at);
    for (uint32_t column = 0; column < ncols; ++column) {
      const value cell = load_lp(entries + uint64_t{row * ncols + column} * lp_size);
      if (end - at < int64_t{cell.length + head})
        return false;
      if (by_row) {
        store<uint16_t>(at, cell.length);
        row_size = static_cast<uint16_t>(row_size + cell.length + Index::counted_head);
      } else {
        next.add(at, cell.length);
      }
      copy_bytes(at + head, cell.at, cell.length);
      at += head + cell.length;
    }
    if (by_row)
      next.close(row_size);
    position = at;
    index = next;
    return true;
  };

  uint64_t row = first;
  while (row <= last && convert(static_cast<uint32_t>(row)))
    ++row;
  aux.vorn_aux_start_slot = static_cast<uint32_t>(row);
  dst.vorn_tt_pos[dst_arr] = position;
  index.save_position(dst, dst_arr);
  return row <= last ? VORN_RESULT_TRANSPOSE_FULL : VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL::join
