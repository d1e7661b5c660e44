// Gather: every kernel against the values that its rows select.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t output_full = VORN_RESULT_OUTPUT_FULL, nrows = 150;
constexpr uint8_t dlp_shift = 18;

struct located {
  const uint8_t *at;
  size_t length;
  uint64_t partition;
};

struct gather_test : join_test {
  // Every other call has more flags set: the flags of result forms that the kernel tests later, and
  // src_flags of the source.  Calls begin at any row, also after the last row, and resume with any room.
  // base: the address to which the dlp words of a table of dlp words are relative.
  void check(const std::string &kernel, uint32_t form, vorn_enc_ctx enc, stored_rows &src, uint32_t src_flags,
             vorn_transpose_table *tbl, uint32_t aux_flags, const std::vector<located> &rows, uintptr_t base = 0) {
    SCOPED_TRACE(kernel);
    ++kernels;
    const uint32_t src_form = src.enc.vorn_enc_ctx_flags;
    const auto written = [&](const located &value) {
      const auto &[at, length, partition] = value;
      const uint64_t offset = reinterpret_cast<uintptr_t>(at) - base, shift = enc.vorn_enc_ctx_dlp_shift,
                     below = uint64_t{1} << shift % 64;
      const std::string bytes(at, at + (form == VORN_FIXED ? 9 : length));
      return form == VORN_LV       ? length_bytes(length) + bytes
             : form == VORN_LP_SEP ? bytes_of(at)
             : form == VORN_LP     ? length_bytes(length) + "~~~~~~" + bytes_of(at)
             : form == VORN_DLP
                 ? bytes_of((shift > 63 ? offset : (base == 0) * partition * below + offset % below) << 16 | length)
                 : bytes;
    };
    for (const unsigned turn : each_from(0U, 3U)) {
      if (!random.takes_case())
        continue;
      enc.vorn_enc_ctx_flags = turn % 2 ? form : with_later(form) | (tbl == nullptr ? VORN_FIXED : 0);
      src.enc.vorn_enc_ctx_flags = turn % 2 ? src_form : src_flags;
      vorn_aux aux = {}, after = {};
      aux.vorn_aux_start_slot = one_of(0, 70, nrows + 3);
      aux.vorn_aux_flags = after.vorn_aux_flags = static_cast<uint8_t>(aux_flags);
      for (uint32_t code = output_full, row = aux.vorn_aux_start_slot; code == output_full && !HasFailure();) {
        size_t room = random.below(4) == 0 && row < nrows ? written(rows[row]).size() : random.below(100);
        std::string vals, lens;
        if (form == VORN_DLP) // a kernel without a test of the room, whose rows have fixed positions
          vals.assign(8 * std::min(row, nrows), '~'), room = 8 * nrows;
        for (; row < nrows && vals.size() + written(rows[row]).size() <= room; ++row) {
          vals += written(rows[row]);
          lens += form == VORN_LV_SEP || form == VORN_LP_SEP ? length_bytes(rows[row].length) : "";
        }
        vals.resize(room + 20, '~'); // the bytes after the room stay as they are
        lens.resize(2 * nrows, '~');
        std::string out_vals(vals.size(), '~'), out_lens(lens.size(), '~');
        vorn_cv res = vector_of(out_vals.data(), enc, 91, out_lens.data());
        res.vorn_cv_size = form == VORN_DLP ? 0 : room;
        const vorn_cv before = res;
        after.vorn_aux_start_slot = row = std::min(row, nrows);
        code = vorn_global_ctx.vorn_gather_dydi(&res, &src.cv, tbl, &aux);
        EXPECT_EQ(code, row < nrows ? output_full : done);
        EXPECT_TRUE(same(aux, after) && same(res, before));
        EXPECT_TRUE(out_vals == vals && out_lens == lens);
      }
    }
  }

  uint32_t kernels = 0;
};

constexpr named_flag kinds[] = {{"lp", VORN_TT_LP}, {"dlp", VORN_TT_DLP}, {"cla", VORN_TT_CLA}};
constexpr uint32_t all_kinds = VORN_TT_LP | VORN_TT_DLP | VORN_TT_CLA;
constexpr named_flag referring_forms[] = {{"lp_sep", VORN_LP_SEP}, {"lp", VORN_LP}, {"dlp", VORN_DLP}};
constexpr uint32_t all_referring_forms = VORN_LP_SEP | VORN_LP | VORN_DLP;

// Row identifiers: numbers of some bytes, 0 for other sizes, or one half of a pair.
struct identifier_form {
  const char *name;
  uint32_t size;
  bool pairs, left;
};
constexpr identifier_form identifier_forms[] = {{"fixed_8", 8, false, false},   {"fixed_4", 4, false, false},
                                                {"fixed_2", 2, false, false},   {"fixed_1", 1, false, false},
                                                {"fixed", 0, false, false},     {"ridvalue", 8, true, false},
                                                {"ridvalue_rid", 8, true, true}};

TEST_P(gather_test, fetches_the_values_that_identifiers_name) {
  stored_rows store(VORN_FIXED, values(1, 150000));
  auto *const start = static_cast<uint8_t *>(store.cv.vorn_cv_vals);
  using layout = std::array<uint8_t, 3>;
  for (const auto &[row_bits, hi_bit, part_rows] :
       each({layout{64, 9, 64}, {0, 5, 1}, {3, 5, 8}, {3, 63, 8}, {6, 5, 64}, {58, 63, 1}})) {
    // 64 values in every kind.  After value 20 is a gap that 16 bits do not show.  Value 21 has the largest length.
    std::vector<located> named;
    std::array<std::string, 64> lp, dlp, cla;
    std::array<void *, 64> lp_of{}, dlp_of{}, cla_of{}, data_of{};
    for (uint32_t i = 0, begin = 64; i < 64; ++i) {
      const uint32_t part = i / part_rows, size = i == 21 ? 65535 : i * 7 % 23;
      named.push_back({start + begin, size, part});
      lp_of[part] = lp[part].append(length_bytes(size) + "unread" + bytes_of(named[i].at)).data();
      dlp_of[part] = dlp[part].append(bytes_of((random() << dlp_shift | begin) << 16 | size)).data();
      cla[part] += cla[part].empty() ? bytes_of(begin - part) : "";
      begin += size + (i == 20 ? 65536 : 0);
      cla_of[part] = cla[part].append(bytes_of(begin - part)).data();
      data_of[part] = start + part;
    }
    for (const named_flag &kind : each(kinds))
      for (const named_flag &form : each(result_forms))
        for (const auto &[id_name, id_size, pairs, left] : each(identifier_forms)) {
          const bool dlp_kind = kind.flag == VORN_TT_DLP;
          const uint32_t size = id_size != 0 ? id_size : one_of(0, 3, 5, 6, 7);
          std::vector<std::string> ids;
          std::vector<located> rows;
          for (uint32_t row = 0; row < nrows; ++row) {
            const uint64_t number = !pairs && (size == 0 || (size < 8 && row_bits == 58)) ? 0 : row * 37 % 64;
            const uint64_t above = row_bits == 64 || hi_bit == 63 ? 0 : random() << (hi_bit + 1);
            const std::string id = bytes_of(above | number / part_rows << row_bits % 64 | number % part_rows);
            ids.push_back(!pairs ? id.substr(0, size) : left ? id + bytes_of(random()) : bytes_of(random()) + id);
            rows.push_back(named[number]);
          }
          stored_rows src(pairs ? VORN_RIDVALUE : VORN_FIXED, ids, 8 * size + ignored_width_bits);
          const uint32_t kind_and_later = kind.flag | (kind.flag - 1); // the highest flag decides
          vorn_transpose_table tbl;
          vorn_build_transpose_table(&tbl, 0, 9 * 8 + 7, 0, hi_bit, row_bits, lp_of.data(), nullptr, 0, dlp_of.data(),
                                     0, 0, 0, cla_of.data(), nullptr, 0, data_of.data(), nullptr, nullptr,
                                     kind_and_later);
          vorn_enc_ctx enc;
          vorn_build_encoding_type_dlp(&enc, static_cast<uint8_t>(dlp_kind ? dlp_shift : one_of(dlp_shift, 45, 64)),
                                       dlp_kind && form.flag != VORN_DLP ? &store.cv.vorn_cv_vals : nullptr);
          const uint32_t aux_flags = pairs && !left ? all_except(VORN_AUX_RID) : uint32_t{VORN_AUX_RID};
          const uint32_t src_flags = all_except(all_referring_forms | (pairs ? uint32_t{VORN_FIXED} : 0));
          check(std::string("vorn_gather_") + kind.name + "_" + form.name + "_" + id_name, form.flag, enc, src,
                src_flags, &tbl, aux_flags, rows, dlp_kind ? reinterpret_cast<uintptr_t>(start) : 0);
        }
  }
  EXPECT_TRUE(kernels == 6 * 126 || chosen.made_by_input());
}

TEST_P(gather_test, copies_the_values_that_a_vector_refers_to) {
  for (const named_flag &form : each(std::span(result_forms + 1, 2))) // lv_sep and lv
    for (const named_flag &referring : each(referring_forms)) {
      const auto referred = values(nrows, 0, 65535);
      for (const uint32_t shift : {uint32_t{dlp_shift}, 64U}) {
        stored_rows src(referring.flag, referred, referring.flag == VORN_DLP ? shift : 0);
        std::vector<located> rows;
        for (uint32_t row = 0; row < nrows; ++row)
          rows.push_back({src.addresses[row], referred[row].size(), 0});
        check(std::string("vorn_gather_") + form.name + "_" + referring.name, form.flag, {}, src,
              with_later(referring.flag) | VORN_FIXED, nullptr, 0, rows);
      }
    }
  EXPECT_TRUE(kernels == 2 * 6 || chosen.made_by_input());
}

TEST_P(gather_test, refuses_other_kinds_and_forms) {
  stored_rows src(VORN_FIXED, {"1234"}), res(VORN_FIXED, {"room"});
  const auto expect_refused = [&](uint32_t kind, uint32_t form, uint32_t identifier) {
    src.enc.vorn_enc_ctx_flags = identifier;
    res.enc.vorn_enc_ctx_flags = form;
    vorn_transpose_table tbl = {};
    tbl.vorn_tt_flags = kind;
    vorn_aux aux = {}, before = {};
    EXPECT_EQ(vorn_global_ctx.vorn_gather_dydi(&res.cv, &src.cv, &tbl, &aux), refused) << kind << " " << form;
    EXPECT_TRUE(same(aux, before));
  };
  expect_refused(all_except(all_kinds), all_flags, all_except(all_referring_forms));
  expect_refused(all_flags, all_except(all_value_forms | VORN_DLP), all_flags);
  expect_refused(all_flags, VORN_FIXED, all_except(VORN_FIXED | VORN_RIDVALUE));
}

VORN_TEST_ALL_IMPLEMENTATIONS(gather_test);

} // namespace
