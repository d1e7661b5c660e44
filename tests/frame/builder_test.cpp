// The builders of vectors, encoding contexts, type codes and cumulative length arrays.  golden/builders.txt has the
// fields that each builder of an encoding context sets.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <tuple>

#include "frame/vorn.h"
#include "tests/support/bytes.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/guarded.hpp"

namespace {

using context = vorn_enc_ctx;

// An address that is not read.
template <class T = void>
T *somewhere(uintptr_t address) {
  return std::bit_cast<T *>(address);
}

template <class Record>
Record full_of_ones() {
  Record record = {};
  std::memset(&record, 0xff, sizeof record);
  return record;
}

// All fields in their order, without the padding between them.
auto fields(const vorn_enc_ctx &enc) {
  const auto &[a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z, aa, ab, ac, ad, ae] = enc;
  return std::tuple(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z, aa, ab, ac, ad, ae);
}
constexpr char context_fields[] =
    "type minor_type dict_syms dict_lens dict_cla dict_nsyms dict_layout rle_lens rle_width rle_nruns rle_cla burst_fn "
    "burst_res_bv prefix_group prefix_vlen prefix_nvals xlate_type bloom_ind bloom_mask ind_shift ind_mask dlp_shift "
    "dlp_table xlate_base flags width width_code unit row_a row_b num_type";
auto fields(const vorn_cv &cv) {
  const auto &[a, b, c, d, e, f, g, h, i, j, k, l, m] = cv;
  return std::tuple(a, b, c, d, e, f, g, h, i, j, k, l, m);
}

// The fields of a record that was full of ones before: those with ones stay unnamed, and so do zeros in a record that
// has no field with ones, a cleared one.
template <class Record>
std::string text_of(const Record &record, const std::string &names) {
  std::vector<std::pair<uint64_t, bool>> values; // with whether all bits are ones
  std::apply(
      [&](auto... field) {
        const auto add = [&](auto value) {
          if constexpr (std::is_integral_v<decltype(value)>)
            values.emplace_back(value, value == static_cast<decltype(value)>(-1));
          else
            values.emplace_back(std::bit_cast<uintptr_t>(value), std::bit_cast<uintptr_t>(value) == UINTPTR_MAX);
        };
        (add(field), ...);
      },
      fields(record));
  const bool cleared = std::ranges::none_of(values, &std::pair<uint64_t, bool>::second);
  std::istringstream in(names);
  std::ostringstream text;
  text << (cleared ? "cleared" : "kept") << std::hex;
  for (const auto &[value, ones] : values) {
    std::string name;
    in >> name;
    if (!ones && (value != 0 || !cleared))
      text << ' ' << name << '=' << value;
  }
  return text.str();
}

void dict(context *enc, uint32_t width, uint32_t flags) {
  vorn_build_encoding_type_dict(enc, width, nullptr, nullptr, nullptr, 0, 0, flags);
}
void rle(context *enc, uint8_t width, bool cla) {
  enc->vorn_enc_ctx_flags = 0;
  vorn_add_encoding_type_rle(enc, nullptr, cla ? somewhere(64) : nullptr, width, 1, nullptr);
}
void encode(context *enc, uint32_t flags) {
  enc->vorn_enc_ctx_flags = flags;
  enc->vorn_enc_ctx_width_code = 19;
  vorn_build_encoding_type(enc);
}

#define BUILD(...)                                                                                                     \
  {                                                                                                                    \
    #__VA_ARGS__, [](context * enc) { __VA_ARGS__; }                                                                   \
  }
const std::pair<const char *, void (*)(context *enc)> builders[] = {
    BUILD(vorn_build_encoding_type_dict(enc, 12, somewhere(1), somewhere(2), somewhere(3), 4000, 1, 0x48)),
    BUILD(vorn_build_encoding_type_dynp(enc, 32, 1, 2, 0x8)),
    BUILD(vorn_build_encoding_type_lp_sep(enc)),
    BUILD(vorn_build_encoding_type_lp(enc)),
    BUILD(vorn_build_encoding_type_lv_sep(enc)),
    BUILD(vorn_build_encoding_type_lv(enc)),
    BUILD(vorn_build_encoding_type_gd(enc)),
    BUILD(vorn_build_encoding_type_hashrid(enc)),
    BUILD(vorn_build_encoding_type_hashgdrid(enc)),
    BUILD(vorn_build_encoding_type_ridvalue(enc)),
    BUILD(vorn_build_encoding_type_hash_values(enc)),
    BUILD(vorn_build_encoding_type_autorid(enc)),
    BUILD(vorn_build_encoding_type_dlp(enc, 0xab, somewhere<void *>(1))),
    BUILD(vorn_build_encoding_type_row(enc, 0xabcd, 0x123456789a)),
    BUILD(vorn_add_encoding_type_bloom(enc, 2, 0xfffff, 12, 0xfff)),
    BUILD(vorn_add_encoding_type_xlate(enc, 2, 2, 1, 9, 0x1ff)),
    BUILD(vorn_add_encoding_type_imca(enc, 1)),
    // Bit 7 of a type code is the flag of the encoding.
    BUILD(dict(enc, 12, 0x8)),
    BUILD(dict(enc, 12, 0x40)),
    BUILD(dict(enc, 1, 0)),
    BUILD(dict(enc, 64, 0x40)),
    BUILD(vorn_build_encoding_type_fixed(enc, 32, 0x40)),
    BUILD(vorn_build_encoding_type_fixed(enc, 24, 0x8)),
    BUILD(vorn_build_encoding_type_dynp(enc, 32, 0, 0, 0x40)),
    BUILD(vorn_build_encoding_type_dynp(enc, 32, 0, 0, 0x48)),
    BUILD(vorn_build_encoding_type_dynp(enc, 16, 0, 0, 0)),
    // The minor type selects the burst kernel.  Without runs the width of their lengths does not matter.
    BUILD(enc->vorn_enc_ctx_flags = 0x40,
          vorn_add_encoding_type_rle(enc, somewhere(2), somewhere(3), 16, 70000, somewhere<uint64_t>(4))),
    BUILD(rle(enc, 8, false)),
    BUILD(rle(enc, 8, true)),
    BUILD(rle(enc, 16, false)),
    BUILD(enc->vorn_enc_ctx_flags = 0x1fffdff, vorn_build_minor_encoding_type(enc)),
};

} // namespace

TEST(build_encoding, sets_its_fields_and_clears_or_keeps_the_others) {
  vorn_test::lines found;
  const auto add = [&](const std::string &name, auto build) {
    auto enc = full_of_ones<context>();
    build(&enc);
    found.push_back(name + ": " + text_of(enc, context_fields));
  };
  for (const auto &[name, build] : builders)
    add(name, build);
  // A dictionary goes before dynamic packing, and fixed values are the rest.
  for (const uint32_t flags : {0x100U, 0x400U, 0x800U, 0x0U, 0x508U, 0x540U, 0xc08U, 0x940U, 0x8U, 0x40U, 0x1ffffb7U})
    add("flags " + std::to_string(flags), [&](context *enc) { encode(enc, flags); });
  // The type of an encoding context after a call.
  const auto type_after = [](auto build) {
    vorn_enc_ctx enc = {};
    build(&enc);
    return enc.vorn_enc_ctx_type;
  };
  using vorn_test::numbers_to, vorn_test::table_of;
  found.push_back(table_of("type of fixed widths", numbers_to(64), [&](uint32_t width) {
    return width == 0 ? 0 : type_after([&](context *enc) { vorn_build_encoding_type_fixed(enc, width, 0); });
  }));
  const int32_t bytes[] = {-1, -4, 1, 2, 4};
  found.push_back(table_of("code of translated bytes", bytes, vorn_xlate_convert_width));
  found.push_back(table_of("type of group keys of bytes", bytes, [&](int32_t width) {
    return type_after([&](context *enc) { vorn_add_encoding_type_imca(enc, width); });
  }));
  for (const uint8_t kind : {uint8_t{1}, uint8_t{2}, uint8_t{3}})
    for (const uint32_t c2d : {0U, 1U, 256U}) // nonzero in any byte
      found.push_back(table_of("type of translations, kind " + std::to_string(kind) + ", c2d " + std::to_string(c2d),
                               bytes, [&](int32_t width) {
                                 return type_after(
                                     [&](context *enc) { vorn_add_encoding_type_xlate(enc, kind, width, c2d, 0, 0); });
                               }));
  const uint32_t widths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32, 64};
  found.push_back(table_of("width codes", widths, vorn_convert_width));
  found.push_back(table_of("xlate kinds", std::array{1U, 2U, 3U}, vorn_xlate_convert_type));
  vorn_test::expect_golden(VORN_GOLDEN "/builders.txt", found);
}

TEST(build_vector, stores_its_arguments_and_keeps_the_rest) {
  const auto text = [](const vorn_cv &cv) {
    return text_of(cv, "vals lens flgs enc mask bv popc nrows stream_len slot tag autorid size");
  };
  auto cv = full_of_ones<vorn_cv>();
  vorn_build_vector(&cv, somewhere(1), somewhere(2), somewhere(3), somewhere<context>(4), somewhere<uint64_t>(5),
                    somewhere<uint64_t>(6), 11, 12, somewhere<void *>(7), 0x1300000014); // the slot is not read
  const std::string built =
      "kept vals=1 lens=2 flgs=3 enc=4 mask=5 bv=6 popc=0 nrows=b stream_len=c slot=7 tag=1300000014";
  EXPECT_EQ(text(cv), built);
  auto with_autorid = cv;
  vorn_add_vector_autorid(&with_autorid, 0x100000002);
  EXPECT_EQ(text(with_autorid), built + " autorid=100000002");
  vorn_add_vector_size(&cv, 0x300000004);
  EXPECT_EQ(text(cv), built + " size=300000004");

  // Without values it takes the value of the slot.
  void *stream = &cv;
  for (void **slot : {&stream, &stream, static_cast<void **>(nullptr)}) {
    cv.vorn_cv_vals = somewhere(1);
    vorn_build_vector(&cv, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0, slot, 0);
    EXPECT_EQ(cv.vorn_cv_vals, slot == nullptr ? nullptr : stream);
    EXPECT_EQ(cv.vorn_cv_stream_slot, slot);
    stream = nullptr;
  }
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
  auto ht = full_of_ones<vorn_hash_table>();
  auto pb = full_of_ones<vorn_partition_buffer>();
  auto tt = full_of_ones<vorn_transpose_table>();
  vorn_build_hash_table(&ht, at(1), somewhere(2), at(3), at(4), 5, 6, 7, 0x80000001);
  vorn_build_partition_buffer(&pb, somewhere(1), at(2), at(3), 4, 5, 0x80000002);
  vorn_build_transpose_table(&tt, 255, 0xabcd, a, 1, 2, at(3), at(4), b, at(5), c, d, 6, at(7), at(8), f, at(9), at(10),
                             at(11), 0x80000003);
  EXPECT_EQ(vorn_test::bytes_of(ht), vorn_test::bytes_of(table));
  EXPECT_EQ(vorn_test::bytes_of(pb), vorn_test::bytes_of(areas));
  EXPECT_EQ(vorn_test::bytes_of(tt), vorn_test::bytes_of(store));
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

// The text of the assertion is fixed.  The name of the function says which number was wrong.
TEST(builder_death_test, values_outside_the_code_tables) {
  const auto fatal = [](const char *function, int64_t number) {
    return ": vorn:[0-9]+: " + std::string(function) + "\\(" + std::to_string(number) + "\\): Assertion `0' failed";
  };
  for (const uint32_t bits : {0U, 21U, 23U, 25U, 31U, 33U, 63U, 65U, 0x101U, UINT32_MAX})
    EXPECT_DEATH(vorn_convert_width(bits), fatal("vorn_convert_width", bits));
  for (const int32_t bytes : {0, -2, -3, -8, 3, 5, 8, 0x101})
    EXPECT_DEATH(vorn_xlate_convert_width(bytes), fatal("vorn_xlate_convert_width", bytes));
  for (const uint32_t kind : {0U, 4U, 0x101U})
    EXPECT_DEATH(vorn_xlate_convert_type(kind), fatal("vorn_xlate_convert_type", kind));

  context enc = {};
  EXPECT_DEATH(dict(&enc, 22, 0), fatal("vorn_convert_width", 22));
  EXPECT_DEATH(vorn_build_encoding_type_dynp(&enc, 48, 0, 0, 0), fatal("vorn_convert_width", 48));
  EXPECT_DEATH(vorn_build_encoding_type_fixed(&enc, 0, 0), fatal("vorn_convert_width", 0));
  EXPECT_DEATH(vorn_build_encoding_type_fixed(&enc, 65, 0), fatal("vorn_convert_width", 65));
  EXPECT_DEATH(vorn_add_encoding_type_xlate(&enc, 0, 1, 0, 0, 0), fatal("vorn_xlate_convert_type", 0));
  EXPECT_DEATH(vorn_add_encoding_type_xlate(&enc, 1, 8, 0, 0, 0), fatal("vorn_xlate_convert_width", 8));
  EXPECT_DEATH(vorn_add_encoding_type_imca(&enc, -2), fatal("vorn_xlate_convert_width", -2));
  for (const uint8_t bits : {uint8_t{0}, uint8_t{7}, uint8_t{9}, uint8_t{15}, uint8_t{32}})
    for (const bool cla : {false, true})
      EXPECT_DEATH(rle(&enc, bits, cla), fatal("vorn_build_minor_encoding_type", bits));
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
