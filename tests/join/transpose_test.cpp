// Transposition: the entries of a matrix, and its rows converted into outputs of any room.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t transpose_full = VORN_RESULT_TRANSPOSE_FULL, matrix_rows = 12;
using transpose_test = join_test;

TEST_P(transpose_test, refers_to_the_values_of_a_column) {
  for (const auto &[name, form] : each(result_forms))
    for (const uint32_t ncols : each({1U, 3U, 255U})) {
      SCOPED_TRACE(testing::Message() << name << " columns " << ncols);
      const auto column = values(matrix_rows, form == VORN_FIXED ? 3 : 0, 65535);
      std::string expected(16 * ncols * matrix_rows, '~');
      stored_rows src(form, column, form == VORN_DLP ? 20 : 0), matrix(VORN_FIXED, {expected});
      for (uint32_t row = 0, entry = ncols / 2; row < matrix_rows && form != VORN_DLP; ++row, entry += ncols)
        expected.replace(16 * entry, 2, length_bytes(column[row].size()))
            .replace(16 * entry + 8, 8, bytes_of(src.addresses[row]));
      void *const start = matrix.cv.vorn_cv_vals, *refs[] = {nullptr, nullptr, start};
      vorn_transpose_table tbl = {};
      tbl.vorn_tt_ncols = static_cast<uint16_t>(ncols);
      tbl.vorn_tt_refs = refs;
      vorn_aux aux = {}, before = {};
      const auto refer = [&](uint32_t table_flags, uint32_t form_flags) {
        tbl.vorn_tt_flags = table_flags;
        src.enc.vorn_enc_ctx_flags = form_flags;
        return vorn_global_ctx.vorn_transpose_reference_dydi(&tbl, &src.cv, ncols / 2 + 0x70000, 2, &aux);
      };
      src.enc.vorn_enc_ctx_width += ignored_width_bits;
      EXPECT_EQ(refer(all_except(VORN_TT_LP), all_flags), refused);
      EXPECT_EQ(refer(VORN_TT_LP, with_later(form)), form == VORN_DLP ? refused : done);
      EXPECT_TRUE(same(aux, before) && refs[2] == start);
      EXPECT_EQ(std::string(static_cast<char *>(start), expected.size()), expected);
    }
}

TEST_P(transpose_test, converts_rows_into_any_room) {
  // Columns, the first row, and the number of row 0: entries are counted in 32 bits.
  constexpr std::array<uint32_t, 3> ranges[] = {
      {0, 0, 0}, {0, 0, 0xfffffff4}, {1, 5, 0}, {2, 0, 0x80000000}, {3, 0, 0}, {3, 5, 0}, {3, matrix_rows + 2, 0}};
  for (const auto &[ncols, first, base] : each(ranges))
    for (const auto &[by_row, offsets] : each({std::pair{false, false}, {false, true}, {true, false}, {true, true}})) {
      SCOPED_TRACE(testing::Message() << ncols << " columns from " << first + base << " by row " << by_row
                                      << " offsets " << offsets);
      const auto cells = values(matrix_rows * ncols, 0, 65535);
      std::vector<std::pair<std::string, size_t>> items[matrix_rows]; // of a row: the bytes, and the size in the index
      size_t sizes[matrix_rows] = {};
      for (uint32_t row = 0; row < matrix_rows; ++row) {
        items[row].resize(by_row ? 1 : ncols);
        for (uint32_t column = 0; column < ncols; ++column) {
          const std::string &cell = cells[row * ncols + column];
          auto &[bytes, size] = items[row][by_row ? 0 : column];
          bytes += (by_row ? length_bytes(cell.size()) : "") + cell;
          size += cell.size() + (by_row && offsets ? 2 : 0);
          sizes[row] += cell.size() + (by_row ? 2 : 0);
        }
      }
      stored_rows matrix(VORN_LP, cells);
      void *in_refs[] = {nullptr, nullptr, matrix.cv.vorn_cv_vals}, *pos[2] = {}, *end[2] = {}, *cursor[2] = {};
      vorn_transpose_table src = {}, dst = {};
      src.vorn_tt_ncols = static_cast<uint16_t>(ncols);
      src.vorn_tt_in_refs = in_refs;
      src.vorn_tt_flags = by_row ? 0 : below(4);
      dst.vorn_tt_pos = pos;
      dst.vorn_tt_end = end;
      (offsets ? dst.vorn_tt_offsets : dst.vorn_tt_refs) = cursor;
      vorn_aux aux = {}, after = {};
      const uint32_t last = matrix_rows - 1 + base;
      const auto convert = [&](vorn_transpose_table *to, uint32_t from) {
        return vorn_global_ctx.vorn_transpose_convert_dydi(to, &src, 1, 2, from, last, &aux);
      };
      dst.vorn_tt_flags = all_except(VORN_TT_CLA | VORN_TT_LP);
      EXPECT_EQ(convert(&dst, 0), refused);
      EXPECT_EQ(convert(nullptr, 0), refused);
      dst.vorn_tt_flags = (offsets ? VORN_TT_CLA | VORN_TT_LP : uint32_t{VORN_TT_LP}) |
                          (by_row ? uint32_t{VORN_TT_ROW} : src.vorn_tt_flags);
      // Each call has a new output.  Its offsets continue from the offset before the cursor.
      uint32_t item_end = 0xfffff000;
      for (uint32_t code = transpose_full, row = first; code == transpose_full && !HasFailure();) {
        const uint32_t from = row + base;
        const size_t room = random.below(3) == 0 && row < matrix_rows ? sizes[row] : random.below(60);
        std::string out(room, '~'), bytes, described = bytes_of(item_end) + std::string(999, '~');
        std::string index = offsets && from == 0 ? bytes_of(item_end = 0) : "";
        for (; row < matrix_rows && bytes.size() + sizes[row] <= room; ++row)
          for (const auto &[text, size] : items[row]) {
            item_end += static_cast<uint16_t>(size);
            index += offsets ? bytes_of(item_end) : length_bytes(size) + "~~~~~~" + bytes_of(out.data() + bytes.size());
            bytes += text;
          }
        pos[1] = out.data();
        end[1] = out.data() + room;
        cursor[1] = described.data() + 4;
        after.vorn_aux_start_slot = row + base;
        code = convert(&dst, from);
        EXPECT_EQ(code, row < matrix_rows ? transpose_full : done);
        EXPECT_TRUE(same(aux, after) && out[room] == 0);
        EXPECT_EQ(std::string(out.data(), static_cast<char *>(pos[1])), bytes);
        EXPECT_EQ(std::string(described.data() + 4, static_cast<char *>(cursor[1])), index);
      }
    }
}

VORN_TEST_ALL_IMPLEMENTATIONS(transpose_test);

} // namespace
