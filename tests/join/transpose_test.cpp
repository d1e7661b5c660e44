// Transposition: matrices entry by entry, and what their rows become in outputs of any room.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t full = VORN_RESULT_TRANSPOSE_FULL;
using transpose_test = join_test;

TEST_P(transpose_test, refers_to_the_values_of_a_column) {
  for (const auto &[name, form] : value_forms)
    for (const uint32_t ncols : {1U, 3U, 255U})
      for (const uint32_t nrows : {0U, 20U}) {
        SCOPED_TRACE(testing::Message() << name << " columns " << ncols << " rows " << nrows);
        std::vector<std::string> values;
        for (uint32_t row = 0; row < nrows; ++row)
          values.push_back(value(form == VORN_FIXED ? 3 : row == 7 ? 65535 : row * 5 % 11));
        stored_rows src(form, values), matrix(VORN_FIXED, {std::string(16 * ncols * nrows, '~')});
        std::string expected(16 * ncols * nrows, '~');
        for (uint32_t row = 0, entry = ncols / 2; row < nrows; ++row, entry += ncols) {
          expected.replace(16 * entry, 2, length_bytes(values[row].size()));
          expected.replace(16 * entry + 8, 8, bytes_of(src.places[row]));
        }
        void *const start = matrix.cv.vorn_cv_vals, *refs[] = {nullptr, nullptr, start};
        vorn_transpose_table tbl = {};
        tbl.vorn_tt_ncols = static_cast<uint16_t>(ncols);
        tbl.vorn_tt_refs = refs;
        src.enc.vorn_enc_ctx_width += 0x70003;
        vorn_aux aux = {}, before = {};
        for (const auto &[table_flags, form_flags, code] : {std::array{~0x20U, all_flags, refused},
                                                            {all_flags, ~value_flags, refused},
                                                            {0x20U, with_later(form), done}}) {
          tbl.vorn_tt_flags = table_flags;
          src.enc.vorn_enc_ctx_flags = form_flags;
          EXPECT_EQ(vorn_global_ctx.vorn_transpose_reference_dydi(&tbl, &src.cv, ncols / 2 + 0x70000, 2, &aux), code);
        }
        EXPECT_TRUE(same(aux, before) && refs[2] == start);
        EXPECT_EQ(std::string(static_cast<char *>(start), expected.size()), expected);
      }
}

// The bytes of a row or of a value, and the size that is told of them.
using item = std::pair<std::string, size_t>;

TEST_P(transpose_test, converts_rows_into_any_room) {
  constexpr uint32_t nrows = 12;
  const std::array<uint32_t, 3> ranges[] = {{0, 0, 0}, {0, 0, 0xfffffff4}, {1, 5, 0},    {2, 0, 0x80000000},
                                            {3, 0, 0}, {3, 5, 0},          {3, nrows, 0}};
  for (const auto &[ncols, first, above] : ranges) // above: added to row numbers, whose entries are counted in 32 bits
    for (const auto &[by_row, offsets] : {std::pair{false, false}, {false, true}, {true, false}, {true, true}}) {
      SCOPED_TRACE(testing::Message() << ncols << " columns from " << first + above << " by row " << by_row
                                      << " offsets " << offsets);
      std::vector<std::string> values;
      std::vector<item> rows[nrows];
      for (uint32_t row = 0; row < nrows; ++row) {
        item record;
        for (uint32_t column = 0; column < ncols; ++column) {
          const std::string &cell = values.emplace_back(value(row == 7 ? 40000 : (row + column) * 5 % 11));
          record.first += length_bytes(cell.size()) + cell;
          record.second += cell.size() + (offsets ? 2 : 0);
          if (!by_row)
            rows[row].emplace_back(cell, cell.size());
        }
        if (by_row)
          rows[row].push_back(record);
      }
      const auto size_of = [&](uint32_t row) {
        size_t size = 0;
        for (const item &each : rows[row])
          size += each.first.size();
        return size;
      };
      stored_rows cells(VORN_LP, values);
      void *in_refs[] = {nullptr, nullptr, cells.cv.vorn_cv_vals}, *pos[2] = {}, *end[2] = {}, *cursor[2] = {};
      vorn_transpose_table src = {}, dst = {};
      src.vorn_tt_ncols = static_cast<uint16_t>(ncols);
      src.vorn_tt_in_refs = in_refs;
      src.vorn_tt_flags = by_row ? 0 : random() % 4;
      dst.vorn_tt_flags = (offsets ? 0x28U : 0x20U) | (by_row ? 2U : src.vorn_tt_flags);
      dst.vorn_tt_pos = pos;
      dst.vorn_tt_end = end;
      (offsets ? dst.vorn_tt_offsets : dst.vorn_tt_refs) = cursor;
      vorn_aux aux = {}, after = {};
      const auto convert = [&](vorn_transpose_table *to, uint32_t from) {
        return vorn_global_ctx.vorn_transpose_convert_dydi(to, &src, 1, 2, from, nrows - 1 + above, &aux);
      };
      EXPECT_EQ(convert(nullptr, 0), refused);
      // A new output each time; offsets go on from the one in front of the cursor.
      uint32_t item_end = 0xfffff000;
      for (uint32_t code = full, row = first; code == full && !HasFailure();) {
        const uint32_t from = row + above;
        const size_t room = random() % 3 == 0 && row < nrows ? size_of(row) : random() % 60;
        std::string out = std::string(room, '~'), bytes, index, described = bytes_of(item_end) + std::string(999, '~');
        char *const index_at = described.data() + 4;
        if (offsets && from == 0)
          index = bytes_of(item_end = 0);
        for (; row < nrows && bytes.size() + size_of(row) <= room; ++row)
          for (const auto &[text, size] : rows[row]) {
            item_end += static_cast<uint16_t>(size);
            index += offsets ? bytes_of(item_end) : length_bytes(size) + "~~~~~~" + bytes_of(out.data() + bytes.size());
            bytes += text;
          }
        pos[1] = out.data();
        end[1] = out.data() + room;
        cursor[1] = index_at;
        after.vorn_aux_start_slot = row + above;
        code = convert(&dst, from);
        EXPECT_EQ(code, row < nrows ? full : done);
        EXPECT_TRUE(same(aux, after) && out[room] == 0 && end[1] == out.data() + room);
        EXPECT_EQ(std::string(out.data(), static_cast<char *>(pos[1])), bytes);
        EXPECT_EQ(std::string(index_at, static_cast<char *>(cursor[1])), index);
      }
      dst.vorn_tt_flags = ~0x28U;
      EXPECT_EQ(convert(&dst, 0), refused);
      EXPECT_TRUE(same(aux, after));
    }
}

VORN_TEST_ALL_IMPLEMENTATIONS(transpose_test);

} // namespace
