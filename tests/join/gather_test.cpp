// Gather: every kernel by its name and through the slot, against the values that its rows name.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t full = VORN_RESULT_OUTPUT_FULL, nrows = 150;
constexpr uint8_t dlp_shift = 18;
const flag_names kinds = {{"_lp", VORN_TT_LP}, {"_dlp", VORN_TT_DLP}, {"_cla", VORN_TT_CLA}};
enum { general = 9, left_value, table_value }; // identifiers that are no plain numbers, beside numbers of bytes
const flag_names identifiers = {{"_fixed_8", 8},           {"_fixed_4", 4},     {"_fixed_2", 2},
                                {"_fixed_1", 1},           {"_fixed", general}, {"_ridvalue_rid", left_value},
                                {"_ridvalue", table_value}};

// Where a value is, and what a dlp word tells of it.
struct located {
  const uint8_t *at;
  size_t length;
  uint64_t partition, offset;
};

struct gather_test : join_test {
  // Runs a kernel into any room again and again, or from behind the rows.
  void check(vorn::gather_kernel *kernel, uint32_t form, vorn_enc_ctx enc, vorn_cv src, vorn_transpose_table *tbl,
             uint8_t flags, const std::vector<located> &rows) {
    const auto written = [&](const located &value) {
      const std::string bytes(value.at, value.at + (form == VORN_FIXED ? 9 : value.length));
      return form == VORN_LV       ? length_bytes(value.length) + bytes
             : form == VORN_LP_SEP ? bytes_of(value.at)
             : form == VORN_LP     ? length_bytes(value.length) + "~~~~~~" + bytes_of(value.at)
                                   : bytes;
    };
    vorn_aux aux = {}, after = {};
    aux.vorn_aux_start_slot = random() % 2 ? 70 : random() % 2 * (nrows + 3);
    aux.vorn_aux_flags = after.vorn_aux_flags = flags;
    for (uint32_t code = full, row = aux.vorn_aux_start_slot; code == full && !HasFailure();) {
      const size_t room = random() % 4 == 0 && row < nrows ? written(rows[row]).size() : random() % 100;
      std::string vals(form == VORN_DLP ? 8 * nrows : 0, '~'), lens;
      for (; row < nrows && form == VORN_DLP; ++row) { // whatever the room
        const auto &[at, length, partition, offset] = rows[row];
        const uint64_t below = uint64_t{1} << enc.vorn_enc_ctx_dlp_shift;
        vals.replace(8 * row, 8, bytes_of((partition * below + offset % below) << 16 | length));
      }
      for (; row < nrows && vals.size() + written(rows[row]).size() <= room; ++row) {
        vals += written(rows[row]);
        lens += form == VORN_LV_SEP || form == VORN_LP_SEP ? length_bytes(rows[row].length) : "";
      }
      vals.resize(std::max(room, vals.size()), '~');
      lens.resize(2 * nrows, '~');
      stored_rows vals_room(VORN_FIXED, {std::string(vals.size(), '~')}),
          lens_room(VORN_FIXED, {std::string(lens.size(), '~')});
      vorn_cv res = vector_of(vals_room.cv.vorn_cv_vals, enc, 91, lens_room.cv.vorn_cv_vals);
      res.vorn_cv_size = room;
      const vorn_cv before = res;
      after.vorn_aux_start_slot = row = std::min(row, nrows);
      code = kernel(&res, &src, tbl, &aux);
      EXPECT_EQ(code, row < nrows ? full : done);
      EXPECT_TRUE(same(aux, after) && same(res, before));
      EXPECT_EQ(std::string(vals_room.places[0], vals_room.places[0] + vals.size()), vals);
      EXPECT_EQ(std::string(lens_room.places[0], lens_room.places[0] + lens.size()), lens);
    }
  }

  // By name, and through the slot with the flags of what is looked at later as well.
  void check_both(const char *name, vorn::gather_kernel *kernel, uint32_t form, vorn_enc_ctx enc, stored_rows &src,
                  uint32_t later, vorn_transpose_table *tbl, uint8_t flags, const std::vector<located> &rows) {
    SCOPED_TRACE(name);
    enc.vorn_enc_ctx_flags = form;
    if (GetParam().capability == 0)
      check(kernel, form, enc, src.cv, tbl, flags, rows);
    enc.vorn_enc_ctx_flags = with_later(form) | (tbl == nullptr ? VORN_FIXED : 0);
    src.enc.vorn_enc_ctx_flags = later;
    check(vorn_global_ctx.vorn_gather_dydi, form, enc, src.cv, tbl, flags, rows);
  }
};

TEST_P(gather_test, fetches_the_values_that_identifiers_name) {
  static_assert(vorn::gather_members.size() == 126);
  stored_rows store(VORN_FIXED, {value(150000)});
  for (const auto &[row_bits, hi_bit] : {std::pair<uint8_t, uint8_t>{64, 9}, {0, 5}, {3, 5}, {3, 63}, {6, 5}}) {
    // 64 values in every kind.  Behind number 20 is a gap that does not show in 16 bits; number 21 has any length.
    std::vector<located> values;
    std::array<std::string, 64> lp, dlp, cla;
    std::array<void *, 64> lp_of, dlp_of, cla_of, data_of;
    for (uint32_t i = 0, begin = 64; i < 64; ++i) {
      const uint32_t part = row_bits == 64 ? 0 : i >> row_bits, size = i == 21 ? 65535 : i * 7 % 23;
      const uint8_t *const at = store.places[0] + begin;
      values.push_back({at, size, part, reinterpret_cast<uintptr_t>(at)});
      lp_of[part] = lp[part].append(length_bytes(size) + "unread" + bytes_of(at)).data();
      dlp_of[part] = dlp[part].append(bytes_of((random() << dlp_shift | begin) << 16 | size)).data();
      cla[part] += cla[part].empty() ? bytes_of(begin - part) : "";
      begin += size + (i == 20 ? 65536 : 0);
      cla_of[part] = cla[part].append(bytes_of(begin - part)).data();
      data_of[part] = static_cast<uint8_t *>(store.cv.vorn_cv_vals) + part;
    }
    for (const auto &[member, place, kernel] : vorn::gather_members) {
      std::string name = member + std::strlen("vorn_gather");
      const uint32_t kind = take(name, kinds), form = take(name, value_forms, {{"_dlp", VORN_DLP}});
      const uint32_t id = take(name, identifiers), size = id == general ? std::array{0, 3, 5, 6, 7}[random() % 5] : id;
      std::vector<std::string> ids;
      std::vector<located> rows;
      for (uint32_t row = 0; row < nrows; ++row) {
        const uint32_t number = size == 0 ? 0 : row * 37 % 64;
        const uint64_t above = row_bits == 64 || hi_bit == 63 ? 0 : random() << (hi_bit + 1);
        ids.push_back(bytes_of(number | above, number | above).substr(0, id > general ? 16 : size));
        if (id > general)
          ids.back().replace(id == left_value ? 8 : 0, 8, bytes_of(random()));
        rows.push_back(values[number]);
        if (kind == VORN_TT_DLP)
          rows.back() = {values[number].at, values[number].length, 0,
                         static_cast<uint64_t>(values[number].at - store.places[0])};
      }
      stored_rows src(id > general ? VORN_RIDVALUE : VORN_FIXED, ids, 8 * size + 0x70005);
      vorn_transpose_table tbl;
      vorn_build_transpose_table(&tbl, 0, 9 * 8 + 7, 0, hi_bit, row_bits, lp_of.data(), nullptr, 0, dlp_of.data(), 0, 0,
                                 0, cla_of.data(), nullptr, 0, data_of.data(), nullptr, nullptr, 2 * kind - 1);
      vorn_enc_ctx enc;
      vorn_build_encoding_type_dlp(&enc, kind != VORN_TT_DLP && random() % 2 ? 45 : dlp_shift,
                                   kind == VORN_TT_DLP && form != VORN_DLP ? &store.cv.vorn_cv_vals : nullptr);
      check_both(member, kernel, form, enc, src, id > general ? ~0x10c800U : ~0x10c000U, &tbl,
                 id == table_value ? 0xdf : 0x20, rows);
    }
  }
}

TEST_P(gather_test, copies_the_values_that_a_vector_refers_to) {
  static_assert(vorn::gather_direct_members.size() == 6);
  for (const auto &[member, place, kernel] : vorn::gather_direct_members) {
    std::string name = member + std::strlen("vorn_gather");
    const uint32_t form = take(name, value_forms), referring = take(name, value_forms, {{"_dlp", VORN_DLP}});
    std::vector<std::string> values;
    for (uint32_t row = 0; row < nrows; ++row)
      values.push_back(value(row == 71 ? 65535 : row * 7 % 23));
    stored_rows src(referring, values, referring == VORN_DLP ? dlp_shift : 0);
    std::vector<located> rows;
    for (uint32_t row = 0; row < nrows; ++row)
      rows.push_back({src.places[row], values[row].size(), 0, 0});
    for (int again = 0; again < 4; ++again)
      check_both(member, kernel, form, {}, src, with_later(referring) | VORN_FIXED, nullptr, 0, rows);
  }
}

TEST_P(gather_test, refuses_other_kinds_and_forms) {
  for (const auto &[kind, form, identifier] : {std::array{~0x38U, all_flags, ~0x10c000U},
                                               {all_flags, ~0x10f800U, all_flags},
                                               {all_flags, all_flags, ~0x15c800U},
                                               {all_flags, 0x800U, 0x10c000U}}) {
    stored_rows src(VORN_FIXED, {"1234"}), res(VORN_FIXED, {"room"});
    src.enc.vorn_enc_ctx_flags = identifier;
    res.enc.vorn_enc_ctx_flags = form;
    vorn_transpose_table tbl = {};
    tbl.vorn_tt_flags = kind;
    vorn_aux aux = {}, before = {};
    EXPECT_EQ(vorn_global_ctx.vorn_gather_dydi(&res.cv, &src.cv, &tbl, &aux), refused);
    EXPECT_TRUE(same(aux, before));
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(gather_test);

} // namespace
