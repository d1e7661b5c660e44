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
        for (const auto &[table_flags, form_flags, code] : {std::array{~0x20U, all_flags, refused}, {all_flags, ~value_flags, refused}, {0x20U, with_later(form), done}}) {
          tbl.vorn_tt_flags = table_flags;
          src.enc.vorn_enc_ctx_flags = form_flags;
          EXPECT_EQ(vorn_global_ctx.vorn_transpose_reference_dydi(&tbl, &src.cv, ncols / 2 + 0x70000, 2, &aux), code);
        }
        EXPECT_TRUE(same(aux, before) && refs[2] == start);
        EXPECT_EQ(std::string(static_cast<char *>(start), expected.size()), expected);
      }
}

struct item {
  std::string bytes;
  size_t size;
};

TEST_P(transpose_test, converts_rows_into_any_room) {
  constexpr uint32_t nrows = 12;
  for (const auto &[ncols, first, above] : {std::array{0U, 0U, 0U}, {0U, 0U, 0xfffffff4U}, {1U, 5U, 0U}, {2U, 0U, 0x80000000U}, {3U, 0U, 0U}, {3U, 5U, 0U}, {3U, nrows, 0U}}) // above: added to row numbers, whose entries are counted in 32 bits
    for (const auto &[by_row, offsets] : {std::pair{false, false}, {false, true}, {true, false}, {true, true}}) {
      SCOPED_TRACE(testing::Message() << "columns " << ncols << " from " << first + above << (by_row ? " by row" : "") << (offsets ? " with offsets" : ""));
      std::vector<std::string> values;
      std::vector<item> rows[nrows];
      for (uint32_t i = 0; i < nrows * ncols; ++i) {
        values.push_back(value(i / ncols == 7 ? 40000 : i * 5 % 11));
        ...
      }
    }
}
