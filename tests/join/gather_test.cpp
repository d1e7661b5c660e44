// Gather: every kernel by its name and through the slot, against the values that its rows name.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t full = VORN_RESULT_OUTPUT_FULL, nrows = 150;
constexpr uint8_t dlp_shift = 18;

struct located {
  const uint8_t *at;
  size_t length;
  uint64_t partition;
};

struct gather_test : join_test {
  // By name, or through the slot with the flags of what is looked at later as well; from any row, also behind the last
  // one; into any room again and again.  base: what dlp words are relative to in a store that has no others.
  void check(const char *name, vorn::gather_kernel *kernel, uint32_t form, vorn_enc_ctx enc, stored_rows &src,
             uint32_t later, vorn_transpose_table *tbl, uint8_t flags, const std::vector<located> &rows,
             uintptr_t base = 0) {
    SCOPED_TRACE(name);
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
      const bool by_name = GetParam().capability == 0 && turn % 2;
      enc.vorn_enc_ctx_flags = by_name ? form : with_later(form) | (tbl == nullptr ? VORN_FIXED : 0);
      src.enc.vorn_enc_ctx_flags = by_name ? src_form : later;
      vorn_aux aux = {}, after = {};
      aux.vorn_aux_start_slot = one_of(0, 70, nrows + 3);
      aux.vorn_aux_flags = after.vorn_aux_flags = flags;
      for (uint32_t code = full, row = aux.vorn_aux_start_slot; code == full && !HasFailure();) {
        size_t room = random.below(4) == 0 && row < nrows ? written(rows[row]).size() : random.below(100);
        std::string vals, lens;
        if (form == VORN_DLP) // which has no test of the room and leaves out the rows before
          vals.assign(8 * std::min(row, nrows), '~'), room = 8 * nrows;
        for (; row < nrows && vals.size() + written(rows[row]).size() <= room; ++row) {
          vals += written(rows[row]);
          lens += form == VORN_LV_SEP || form == VORN_LP_SEP ? length_bytes(rows[row].length) : "";
        }
        vals.resize(room + 20, '~'); // and nothing behind it
        lens.resize(2 * nrows, '~');
        std::string out_vals(vals.size(), '~'), out_lens(lens.size(), '~');
        vorn_cv res = vector_of(out_vals.data(), enc, 91, out_lens.data());
        res.vorn_cv_size = form == VORN_DLP ? 0 : room;
        const vorn_cv before = res;
        after.vorn_aux_start_slot = row = std::min(row, nrows);
        code = (by_name ? kernel : vorn_global_ctx.vorn_gather_dydi)(&res, &src.cv, tbl, &aux);
        EXPECT_EQ(code, row < nrows ? full : done);
        EXPECT_TRUE(same(aux, after) && same(res, before));
        EXPECT_TRUE(out_vals == vals && out_lens == lens);
      }
    }
  }
};

TEST_P(gather_test, fetches_the_values_that_identifiers_name) {
  static_assert(vorn::gather_members.size() == 126);
  stored_rows store(VORN_FIXED, values(1, 150000));
  auto *const start = static_cast<uint8_t *>(store.cv.vorn_cv_vals);
  using layout = std::array<uint8_t, 3>;
  for (const auto &[row_bits, hi_bit, part_rows] :
       each({layout{64, 9, 64}, {0, 5, 1}, {3, 5, 8}, {3, 63, 8}, {6, 5, 64}, {58, 63, 1}})) {
    // 64 values in every kind.  Behind number 20 is a gap that does not show in 16 bits; number 21 has any length.
    std::vector<located> named;
    std::array<std::string, 64> lp, dlp, cla;
    std::array<void *, 64> lp_of, dlp_of, cla_of, data_of;
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
    for (const auto &[member, place, kernel] : each(vorn::gather_members)) {
      std::string name = member + std::strlen("vorn_gather");
      const uint32_t kind = take(name, {{"_lp", VORN_TT_LP}, {"_dlp", VORN_TT_DLP}, {"_cla", VORN_TT_CLA}});
      const uint32_t form = take(name, value_forms);
      const bool pairs = name.starts_with("_ridvalue"), left = name.ends_with("_rid"), dlp_kind = kind == VORN_TT_DLP;
      const auto digit = static_cast<unsigned>(name.back() - '0');
      const uint32_t size = digit < 10 ? digit : one_of(0, 3, 5, 6, 7);
      std::vector<std::string> ids;
      std::vector<located> rows;
      for (uint32_t row = 0; row < nrows; ++row) {
        const uint64_t number = !pairs && (size == 0 || (size < 8 && row_bits == 58)) ? 0 : row * 37 % 64;
        const uint64_t above = row_bits == 64 || hi_bit == 63 ? 0 : random() << (hi_bit + 1);
        const std::string id = bytes_of(above | number / part_rows << row_bits % 64 | number % part_rows);
        ids.push_back(!pairs ? id.substr(0, size) : left ? id + bytes_of(random()) : bytes_of(random()) + id);
        rows.push_back(named[number]);
      }
      stored_rows src(pairs ? VORN_RIDVALUE : VORN_FIXED, ids, 8 * size + 0x70005);
      vorn_transpose_table tbl;
      vorn_build_transpose_table(&tbl, 0, 9 * 8 + 7, 0, hi_bit, row_bits, lp_of.data(), nullptr, 0, dlp_of.data(), 0, 0,
                                 0, cla_of.data(), nullptr, 0, data_of.data(), nullptr, nullptr, 2 * kind - 1);
      vorn_enc_ctx enc;
      vorn_build_encoding_type_dlp(&enc, static_cast<uint8_t>(dlp_kind ? dlp_shift : one_of(dlp_shift, 45, 64)),
                                   dlp_kind && form != VORN_DLP ? &store.cv.vorn_cv_vals : nullptr);
      const uint8_t flags = pairs && !left ? 0xdf : VORN_AUX_RID;
      check(member, kernel, form, enc, src, pairs ? ~0x10c800U : ~0x10c000U, &tbl, flags, rows,
            dlp_kind ? reinterpret_cast<uintptr_t>(start) : 0);
    }
  }
}

TEST_P(gather_test, copies_the_values_that_a_vector_refers_to) {
  static_assert(vorn::gather_direct_members.size() == 6);
  for (const auto &[member, place, kernel] : each(vorn::gather_direct_members)) {
    std::string name = member + std::strlen("vorn_gather");
    const uint32_t form = take(name, value_forms), referring = take(name, value_forms);
    const auto referred = values(nrows, 0, 65535);
    for (const uint32_t shift : {uint32_t{dlp_shift}, 64U}) {
      stored_rows src(referring, referred, referring == VORN_DLP ? shift : 0);
      std::vector<located> rows;
      for (uint32_t row = 0; row < nrows; ++row)
        rows.push_back({src.places[row], referred[row].size(), 0});
      check(member, kernel, form, {}, src, with_later(referring) | VORN_FIXED, nullptr, 0, rows);
    }
  }
}

TEST_P(gather_test, refuses_other_kinds_and_forms) {
  stored_rows src(VORN_FIXED, {"1234"}), res(VORN_FIXED, {"room"});
  const auto expect_refused = [&](uint32_t kinds, uint32_t form, uint32_t identifier) {
    src.enc.vorn_enc_ctx_flags = identifier;
    res.enc.vorn_enc_ctx_flags = form;
    vorn_transpose_table tbl = {};
    tbl.vorn_tt_flags = kinds;
    vorn_aux aux = {}, before = {};
    EXPECT_EQ(vorn_global_ctx.vorn_gather_dydi(&res.cv, &src.cv, &tbl, &aux), refused) << kinds << " " << form;
    EXPECT_TRUE(same(aux, before));
  };
  expect_refused(~0x38U, all_flags, ~0x10c000U);
  expect_refused(all_flags, ~0x10f800U, all_flags);
  expect_refused(all_flags, VORN_FIXED, ~0x40800U);
}

VORN_TEST_ALL_IMPLEMENTATIONS(gather_test);

} // namespace
