// The builders of vectors, encoding contexts, type codes and cumulative length arrays.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "frame/vorn.h"
#include "tests/support/guarded.hpp"

// Fields that an expected record does not name are zero.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

template <class Record>
Record filled_with(int byte) {
  Record record;
  std::memset(&record, byte, sizeof record);
  return record;
}

// An address that is not read.
template <class T = void>
T *somewhere(uintptr_t address) {
  return reinterpret_cast<T *>(address);
}

// All fields, without the padding between them.
auto fields(const vorn_enc_ctx &enc) {
  const auto &[a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z, aa, ab, ac, ad, ae] = enc;
  return std::tuple(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z, aa, ab, ac, ad, ae);
}

using builder = std::function<void(vorn_enc_ctx *)>;

// What the builder makes of a context that is full of ones, which it must clear.
vorn_enc_ctx built(const builder &build) {
  auto enc = filled_with<vorn_enc_ctx>(0xff);
  build(&enc);
  return enc;
}

void expect_built(const builder &build, const vorn_enc_ctx &expected) {
  EXPECT_EQ(fields(built(build)), fields(expected));
}

builder dict(uint32_t width, uint32_t flags) {
  return [=](vorn_enc_ctx *enc) { vorn_build_encoding_type_dict(enc, width, nullptr, nullptr, nullptr, 0, 0, flags); };
}
builder fixed(uint32_t width, uint32_t flags) {
  return [=](vorn_enc_ctx *enc) { vorn_build_encoding_type_fixed(enc, width, flags); };
}
builder dynp(uint32_t width, uint32_t flags) {
  return [=](vorn_enc_ctx *enc) { vorn_build_encoding_type_dynp(enc, width, 1, 2, flags); };
}
builder rle(uint8_t width, bool cla) {
  return [=](vorn_enc_ctx *enc) {
    dict(5, 0)(enc);
    vorn_add_encoding_type_rle(enc, nullptr, cla ? somewhere(64) : nullptr, width, 1, nullptr);
  };
}

constexpr const char fatal_zero[] = ": vorn:[0-9]+: [^:]+: Assertion `0' failed";

} // namespace

TEST(build_vector, stores_its_arguments_and_leaves_the_rest) {
  const auto fields_of = [](const vorn_cv &cv) {
    const auto &[a, b, c, d, e, f, g, h, i, j, k, l, m] = cv;
    return std::tuple(a, b, c, d, e, f, g, h, i, j, k, l, m);
  };
  auto cv = filled_with<vorn_cv>(0xff);
  void *stream = somewhere(0x700);
  void *const vals = somewhere(0x100), *const lens = somewhere(0x200), *const flgs = somewhere(0x300);
  auto *const enc = somewhere<vorn_enc_ctx>(0x400);
  auto *const mask = somewhere<uint64_t>(0x500), *const bv = somewhere<uint64_t>(0x600);
  vorn_build_vector(&cv, vals, lens, flgs, enc, mask, bv, 11, 12, &stream, 0x1300000014);
  // The values are not the slot's, since they are given.
  vorn_cv expected = {vals, lens, flgs, enc, mask, bv, 0, 11, 12, &stream, 0x1300000014, UINT64_MAX, UINT64_MAX};
  EXPECT_EQ(fields_of(cv), fields_of(expected));
  vorn_add_vector_autorid(&cv, 0x100000002);
  expected.vorn_cv_autorid = 0x100000002;
  EXPECT_EQ(fields_of(cv), fields_of(expected));
  vorn_add_vector_size(&cv, 0x300000004);
  expected.vorn_cv_size = 0x300000004;
  EXPECT_EQ(fields_of(cv), fields_of(expected));

  // Without values it takes what the slot holds.
  for (void **slot : {&stream, &stream, static_cast<void **>(nullptr)}) {
    cv.vorn_cv_vals = &cv;
    vorn_build_vector(&cv, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0, slot, 0);
    EXPECT_EQ(cv.vorn_cv_vals, slot == nullptr ? nullptr : stream);
    EXPECT_EQ(cv.vorn_cv_stream_slot, slot);
    stream = nullptr;
  }
}

TEST(build_encoding, value_encodings_clear_the_context_and_set_their_fields) {
  expect_built(
      [](vorn_enc_ctx *enc) {
        vorn_build_encoding_type_dict(enc, 12, somewhere(0x100), somewhere(0x200), somewhere(0x300), 4000, 1, 0x48);
      },
      {.vorn_enc_ctx_type = 0xad,
       .vorn_enc_ctx_dict_syms = somewhere(0x100),
       .vorn_enc_ctx_dict_lens = somewhere(0x200),
       .vorn_enc_ctx_dict_cla = somewhere(0x300),
       .vorn_enc_ctx_dict_nsyms = 4000,
       .vorn_enc_ctx_dict_layout = 1,
       .vorn_enc_ctx_flags = 0x148,
       .vorn_enc_ctx_width = 12,
       .vorn_enc_ctx_width_code = 11});
  // The width stays as given, although the 32-bit kernels serve it.
  expect_built(fixed(24, 0x8), {.vorn_enc_ctx_type = 0xd4,
                                .vorn_enc_ctx_flags = 0x808,
                                .vorn_enc_ctx_width = 24,
                                .vorn_enc_ctx_width_code = 21,
                                .vorn_enc_ctx_unit = 8});
  expect_built(dynp(32, 0x8), {.vorn_enc_ctx_type = 0xd6,
                               .vorn_enc_ctx_flags = 0x408,
                               .vorn_enc_ctx_width = 32,
                               .vorn_enc_ctx_width_code = 21});
}

TEST(build_encoding, layouts_clear_the_context_and_set_one_flag) {
  const std::pair<void (*)(vorn_enc_ctx *), uint32_t> layouts[] = {
      {vorn_build_encoding_type_lp_sep, 0x4000},      {vorn_build_encoding_type_lp, 0x8000},
      {vorn_build_encoding_type_lv_sep, 0x1000},      {vorn_build_encoding_type_lv, 0x2000},
      {vorn_build_encoding_type_gd, 0x400000},        {vorn_build_encoding_type_hashrid, 0x20000},
      {vorn_build_encoding_type_hashgdrid, 0x800000}, {vorn_build_encoding_type_ridvalue, 0x40000},
      {vorn_build_encoding_type_hash_values, 0x80},   {vorn_build_encoding_type_autorid, 0x80000}};
  for (const auto &[build, flags] : layouts)
    expect_built(build, {.vorn_enc_ctx_flags = flags});
  expect_built([](vorn_enc_ctx *enc) { vorn_build_encoding_type_dlp(enc, 0xab, somewhere<void *>(0x100)); },
               {.vorn_enc_ctx_dlp_shift = 0xab,
                .vorn_enc_ctx_dlp_table = somewhere<void *>(0x100),
                .vorn_enc_ctx_flags = 0x100000});
  expect_built([](vorn_enc_ctx *enc) { vorn_build_encoding_type_row(enc, 0xabcd, 0x123456789a); },
               {.vorn_enc_ctx_flags = 0x200000, .vorn_enc_ctx_row_a = 0xabcd, .vorn_enc_ctx_row_b = 0x123456789a});
}

TEST(build_encoding, additions_touch_their_fields_alone) {
  vorn_enc_ctx base;
  vorn_build_encoding_type_dict(&base, 7, somewhere(0x100), nullptr, nullptr, 100, 0, 0x40);

  vorn_enc_ctx enc = base, expected = base;
  vorn_add_encoding_type_rle(&enc, somewhere(0x200), somewhere(0x300), 16, 70000, somewhere<uint64_t>(0x400));
  expected.vorn_enc_ctx_flags = 0x340;
  expected.vorn_enc_ctx_rle_lens = somewhere(0x200);
  expected.vorn_enc_ctx_rle_cla = somewhere(0x300);
  expected.vorn_enc_ctx_rle_width = 16;
  expected.vorn_enc_ctx_rle_nruns = 70000;
  expected.vorn_enc_ctx_burst_res_bv = somewhere<uint64_t>(0x400);
  expected.vorn_enc_ctx_minor_type = 63;
  EXPECT_EQ(fields(enc), fields(expected));

  enc = expected = base;
  vorn_add_encoding_type_bloom(&enc, 2, 0xfffff, 12, 0xfff);
  expected.vorn_enc_ctx_bloom_ind = 2;
  expected.vorn_enc_ctx_bloom_mask = 0xfffff;
  expected.vorn_enc_ctx_ind_shift = 12;
  expected.vorn_enc_ctx_ind_mask = 0xfff;
  EXPECT_EQ(fields(enc), fields(expected));

  enc = expected = base;
  enc.vorn_enc_ctx_type = UINT64_MAX;
  vorn_add_encoding_type_xlate(&enc, 2, 2, 1, 9, 0x1ff);
  expected.vorn_enc_ctx_xlate_type = 2;
  expected.vorn_enc_ctx_ind_shift = 9;
  expected.vorn_enc_ctx_ind_mask = 0x1ff;
  expected.vorn_enc_ctx_type = 0x8d;
  EXPECT_EQ(fields(enc), fields(expected));

  enc = expected = base;
  enc.vorn_enc_ctx_type = UINT64_MAX;
  vorn_add_encoding_type_imca(&enc, 1);
  expected.vorn_enc_ctx_type = 0x8b;
  EXPECT_EQ(fields(enc), fields(expected));
}

// All bytes of the records of the joins are cleared, and every argument lies in its field.
TEST(build_record, clears_it_and_stores_its_arguments) {
  const auto at = somewhere<void *>;
  const uint64_t a = uint64_t{1} << 40, b = a + 1, c = a + 2, d = a + 3, f = a + 4;
  // Static records have clear padding.
  static const vorn_hash_table table = {0, 0x80000001, {}, 7, 5, 6, at(1), somewhere(2), at(3), at(4), {}, 0};
  static const vorn_partition_buffer areas = {0, 0x80000002, 4, 5, {}, 0, {}, somewhere(1), at(2), at(3)};
  static const vorn_transpose_table store = {0,     0x80000003, 255, 0xabcd, a,     1,     2, 0,     at(3),  at(4), b,
                                             at(5), c,          d,   6,      at(7), at(8), f, at(9), at(10), at(11)};
  auto ht = filled_with<vorn_hash_table>(0xff);
  auto pb = filled_with<vorn_partition_buffer>(0xff);
  auto tt = filled_with<vorn_transpose_table>(0xff);
  vorn_build_hash_table(&ht, at(1), somewhere(2), at(3), at(4), 5, 6, 7, 0x80000001);
  vorn_build_partition_buffer(&pb, somewhere(1), at(2), at(3), 4, 5, 0x80000002);
  vorn_build_transpose_table(&tt, 255, 0xabcd, a, 1, 2, at(3), at(4), b, at(5), c, d, 6, at(7), at(8), f, at(9), at(10),
                             at(11), 0x80000003);
  EXPECT_EQ(std::memcmp(&ht, &table, sizeof ht), 0);
  EXPECT_EQ(std::memcmp(&pb, &areas, sizeof pb), 0);
  EXPECT_EQ(std::memcmp(&tt, &store, sizeof tt), 0);
}

// Bit 7 is the flag of the encoding; minor types select the burst kernel.
TEST(type_code, of_every_builder) {
  const struct {
    builder build;
    uint64_t type, minor;
    uint32_t width_code;
  } cases[] = {{dict(12, 0x8), 0x2d, 0, 11},   {dict(12, 0x40), 0xad, 0, 11}, {dict(12, 0x48), 0xad, 0, 11},
               {fixed(32, 0x40), 0x54, 0, 21}, {fixed(32, 0x8), 0xd4, 0, 21}, {dynp(32, 0x40), 0x56, 0, 21},
               {dynp(32, 0x48), 0xd6, 0, 21},  {dict(1, 0), 0x01, 0, 0},      {dict(64, 0x40), 0xd9, 0, 22},
               {dynp(16, 0), 0x3e, 0, 15},     {rle(8, false), 0x11, 27, 4},  {rle(8, true), 0x11, 31, 4},
               {rle(16, false), 0x11, 59, 4},  {rle(16, true), 0x11, 63, 4}};
  for (const auto &[build, type, minor, width_code] : cases) {
    const vorn_enc_ctx enc = built(build);
    EXPECT_EQ(enc.vorn_enc_ctx_type, type);
    EXPECT_EQ(enc.vorn_enc_ctx_minor_type, minor) << type;
    EXPECT_EQ(enc.vorn_enc_ctx_width_code, width_code) << type;
  }
  for (uint32_t width = 1; width <= 64; ++width) { // fixed widths fall into classes
    const vorn_enc_ctx enc = built(fixed(width, 0));
    const uint32_t code = width <= 16 ? width - 1 : width <= 32 ? 21 : 22;
    EXPECT_EQ(enc.vorn_enc_ctx_width_code, code) << width;
    EXPECT_EQ(enc.vorn_enc_ctx_type, code * 4) << width;
    EXPECT_EQ(enc.vorn_enc_ctx_width, width);
  }
  auto without_runs = filled_with<vorn_enc_ctx>(0xff);
  without_runs.vorn_enc_ctx_flags = 0x1fffdff;
  vorn_build_minor_encoding_type(&without_runs); // and the illegal width is not looked at
  EXPECT_EQ(without_runs.vorn_enc_ctx_minor_type, 0U);
}

TEST(type_code, dict_goes_before_dynp_and_fixed_is_the_rest) {
  const struct {
    uint32_t flags;
    uint64_t type;
  } cases[] = {{0x100, 0x4d},       {0x400, 0x4e},        {0x800, 0x4c},       {0, 0x4c},
               {0x500 | 0x8, 0x4d}, {0x500 | 0x40, 0xcd}, {0xc00 | 0x8, 0xce}, {0x900 | 0x40, 0xcd},
               {0x8, 0xcc},         {0x40, 0x4c},         {0x1ffffb7, 0x4d}};
  for (const auto &[flags, type] : cases) {
    auto enc = filled_with<vorn_enc_ctx>(0xff);
    enc.vorn_enc_ctx_flags = flags;
    enc.vorn_enc_ctx_width_code = 19;
    vorn_build_encoding_type(&enc);
    EXPECT_EQ(enc.vorn_enc_ctx_type, type) << std::hex << flags;
    EXPECT_EQ(enc.vorn_enc_ctx_minor_type, UINT64_MAX);
  }
}

TEST(width_code, every_width_has_its_code_and_name) {
  uint32_t code = 0;
  for (const uint32_t width :
       {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 14U, 15U, 16U, 17U, 18U, 19U, 20U, 24U, 32U, 64U}) {
    EXPECT_EQ(vorn_convert_width(width), code);
    EXPECT_STREQ(vorn_datawidth_name(code), std::to_string(width).c_str());
    ++code;
  }
  EXPECT_EQ(vorn_datawidth_name(23), nullptr);
  EXPECT_EQ(vorn_datawidth_name(31), nullptr);
  EXPECT_EQ(vorn_datawidth_name(UINT32_MAX), nullptr);
}

TEST(xlate_code, every_kind_and_width) {
  const std::pair<int32_t, uint32_t> widths[] = {{-1, 0}, {-4, 1}, {1, 2}, {2, 3}, {4, 4}};
  for (const auto &[width, code] : widths) {
    EXPECT_EQ(vorn_xlate_convert_width(width), code);
    vorn_enc_ctx enc = {};
    vorn_add_encoding_type_imca(&enc, width);
    EXPECT_EQ(enc.vorn_enc_ctx_type, 0x83 + 4 * code);
    for (const uint8_t kind : {uint8_t{1}, uint8_t{2}, uint8_t{3}})
      for (const uint32_t c2d : {0U, 1U, 256U}) { // nonzero in any byte
        vorn_add_encoding_type_xlate(&enc, kind, width, c2d, 0, 0);
        EXPECT_EQ(enc.vorn_enc_ctx_type, kind - 1U + 4 * code + (c2d != 0 ? 0x80 : 0));
      }
  }
  EXPECT_EQ(vorn_xlate_convert_type(1), 0);
  EXPECT_EQ(vorn_xlate_convert_type(2), 1);
  EXPECT_EQ(vorn_xlate_convert_type(3), 2);
}

// Of lengths that end at unreadable memory, or begin at an odd address; there is no room for more than the sums.
TEST(cla, of_bytes_and_of_big_endian_numbers) {
  using bytes = std::vector<uint8_t>;
  const auto expect = [](auto build, const bytes &lens, const bytes &sums) {
    vorn_test::guarded source(lens.size()), room(sums.size());
    for (uint8_t *const from : {source.last(lens.size()), source.behind(1, lens.size())}) {
      std::ranges::copy(lens, from);
      uint8_t *const cla = room.last(sums.size());
      const auto items = static_cast<uint32_t>(sums.size() / 4 - 1);
      build(reinterpret_cast<uint32_t *>(cla), items + 2, items == 0 ? nullptr : from, items);
      EXPECT_EQ(bytes(cla, cla + sums.size()), sums);
      EXPECT_TRUE(room.intact(sums.size()));
    }
  };
  expect(vorn_build_cla_1_ub1, {0, 3, 255, 0, 1, 128},
         {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 1, 2, 0, 0, 1, 2, 0, 0, 1, 3, 0, 0, 1, 0x83});
  expect(vorn_build_cla_1_ub2, {0x00, 0x02, 0x12, 0x34, 0xff, 0xff},
         {0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0x12, 0x36, 0, 1, 0x12, 0x35});
  for (const auto build : {vorn_build_cla_1_ub1, vorn_build_cla_1_ub2})
    expect(build, {}, {0, 0, 0, 0});
}

TEST(cla, wraps_at_32_bits) {
  const uint32_t items = 65538;
  const std::vector<uint8_t> lens(2 * items, 0xff);
  std::vector<uint32_t> cla(items + 1, 1);
  vorn_build_cla_1_ub2(cla.data(), items + 1, lens.data(), items);
  EXPECT_EQ(cla[0], 0U);
  EXPECT_EQ(cla[items - 1], __builtin_bswap32(0xffffffff)); // 65537 * 65535
  EXPECT_EQ(cla[items], __builtin_bswap32(0xfffe));
}

TEST(builder_death_test, values_outside_the_code_tables) {
  for (const uint32_t width : {0U, 21U, 23U, 25U, 31U, 33U, 63U, 65U, 0x101U, UINT32_MAX})
    EXPECT_DEATH(vorn_convert_width(width), fatal_zero) << width;
  for (const int32_t width : {0, -2, -3, -8, 3, 5, 8, 0x101})
    EXPECT_DEATH(vorn_xlate_convert_width(width), fatal_zero) << width;
  for (const uint32_t kind : {0U, 4U, 0x101U})
    EXPECT_DEATH(vorn_xlate_convert_type(kind), fatal_zero) << kind;

  for (const builder &build : {dict(22, 0), dynp(48, 0), fixed(0, 0), fixed(65, 0)})
    EXPECT_DEATH(built(build), fatal_zero);
  vorn_enc_ctx enc = {};
  EXPECT_DEATH(vorn_add_encoding_type_xlate(&enc, 0, 1, 0, 0, 0), fatal_zero);
  EXPECT_DEATH(vorn_add_encoding_type_xlate(&enc, 1, 8, 0, 0, 0), fatal_zero);
  EXPECT_DEATH(vorn_add_encoding_type_imca(&enc, -2), fatal_zero);
  for (const uint8_t width : {uint8_t{0}, uint8_t{7}, uint8_t{9}, uint8_t{15}, uint8_t{32}})
    for (const bool cla : {false, true})
      EXPECT_DEATH(built(rle(width, cla)), fatal_zero) << int{width};
}

TEST(builder_death_test, cla_without_room) {
  const uint8_t lens[8] = {};
  uint32_t cla[8] = {};
  const char *const too_short =
      ": vorn:[0-9]+: vorn_build_cla_1_ub[12]: Assertion `res_len >= \\(src_len \\+ 1\\)' failed";
  for (const uint32_t items : {0U, 3U}) {
    EXPECT_DEATH(vorn_build_cla_1_ub1(cla, items, lens, items), too_short);
    EXPECT_DEATH(vorn_build_cla_1_ub2(cla, items, lens, items), too_short);
  }
}
