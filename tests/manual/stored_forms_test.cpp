// The examples of the stored forms in vorn.h: exactly these bytes, through the entry points, give what the header says.
#include <cstring>
#include <ios>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/implementation.hpp"
#include "tests/support/slots.hpp"

namespace {

using bytes = std::vector<uint8_t>;
using texts = std::vector<std::string>;
using vorn_test::vector_of;

// Bytes in hexadecimal, with slack after the stream.
bytes hex(const char *text) {
  std::istringstream in(text);
  bytes out;
  for (unsigned byte; in >> std::hex >> byte;)
    out.push_back(static_cast<uint8_t>(byte));
  out.resize(out.size() + 8, 0xee);
  return out;
}

vorn_enc_ctx dict(uint32_t width, uint32_t flags = 0) {
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dict(&enc, width, nullptr, nullptr, nullptr, 3, VORN_DICT_ONE_LENGTH, flags);
  return enc;
}
vorn_enc_ctx fixed(uint32_t width, uint32_t flags = 0) {
  vorn_enc_ctx enc;
  vorn_build_encoding_type_fixed(&enc, width, flags);
  return enc;
}
vorn_enc_ctx dynp(uint32_t width, uint32_t flags = 0) {
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dynp(&enc, width, 0, 0, flags);
  return enc;
}

// The host of the example: its compressed streams are pairs of a count and a byte.
uint32_t decompress_pairs(vorn_qpak_ctx *, const void *src, void *dst, uint32_t *, uint32_t dstlen) {
  const auto *pair = static_cast<const uint8_t *>(src);
  std::memset(dst, pair[1], pair[0]);
  return pair[0] != dstlen;
}

struct stored_forms_test : vorn_test::implementation_test {
  // How the rows stand to a constant: '<', '=' or '>' each.
  void expect(const std::string &order, vorn_enc_ctx enc, const char *vals, const char *constant, const char *lens = "",
              uint8_t length_code = 0) {
    vorn_ctx ctx = env.context();
    ctx.vorn_ctx_decompress = decompress_pairs;
    const auto nrows = static_cast<uint32_t>(order.size());
    const bytes stream = hex(vals), codes = hex(lens), value = hex(constant);
    vorn_enc_ctx cst_enc = enc;
    cst_enc.vorn_enc_ctx_flags |= VORN_CONST;
    void *slot = nullptr;
    std::vector<uint64_t> bits((nrows + 63) / 64);
    vorn_cv src = vector_of(stream.data(), enc, nrows, codes.data());
    src.vorn_cv_stream_slot = &slot;
    src.vorn_cv_stream_len = 3;
    const vorn_cv cst = vector_of(value.data(), cst_enc, 1, &length_code);
    vorn_cv res = vorn_test::result_of(bits.data(), nrows);
    for (const auto &[opcode, sign] : {std::pair{VORN_OPC_LT, '<'}, {VORN_OPC_EQ, '='}, {VORN_OPC_GT, '>'}}) {
      vorn_cmp(&ctx, &res, &src, &cst, nullptr, opcode);
      for (uint32_t row = 0; row < nrows; ++row)
        EXPECT_EQ(bits[row / 64] >> row % 64 & 1, order[row] == sign) << vals << ": row " << row << sign;
    }
  }

  // The values of the codes 2, 0, 1 of a dictionary.
  texts values(const char *symbols, const char *length, const char *cla) {
    const vorn_ctx ctx = env.context();
    const bytes symbol_bytes = hex(symbols), length_bytes = hex(length), cla_bytes = hex(cla);
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, 8, symbol_bytes.data(), length_bytes.data(), cla_bytes.data(), 3,
                                  *cla == '\0' ? VORN_DICT_ONE_LENGTH : VORN_DICT_CLA, 0);
    const uint8_t codes[] = {2, 0, 1};
    const char *vals[3];
    uint16_t lens[3], flgs[3];
    vorn_aux aux = {};
    vorn_cv src = vector_of(codes, enc, 3), res = vector_of(vals, enc, 3, lens);
    res.vorn_cv_flgs = flgs;
    vorn_decode_symbol(&ctx, &res, &src, &aux);
    texts out;
    for (unsigned i = 0; i < 3; ++i)
      out.push_back(flgs[i] == 2 ? "NULL" : std::string(vals[i], lens[i]));
    return out;
  }
};

TEST_P(stored_forms_test, compare_as_the_header_says) {
  expect("<<<=>>>>", dict(3), "05 39 77", "03 00 00 00");
  expect(">=", dict(12), "ab c1 23", "23 01 00 00");
  expect("<=", fixed(24), "00 00 01 01 02 03", "01 02 03");
  expect("<=<>", dynp(32), "12 12 34 00 12 34 56 78", "12 34 00 00", "13", 3); // whatever the constant's length code
  expect("<=>", fixed(32, VORN_TZ), "61 62 00 00 61 62 00 00 61 62 63 00", "61 62 00 00", "68", 2);
  expect("<=>", dynp(32, VORN_TZ), "61 62 61 62 00 61 62 63", "61 62 00 00", "68", 2);
  expect("=>", fixed(32, VORN_TZ | VORN_UNIFORM_LENS), "61 62 00 00 61 62 63 00", "61 62 00 00", "02", 2);
  expect("<=<=<=", dict(4, VORN_STREAM), "03 3a", "0a 00 00 00");
}

TEST_P(stored_forms_test, run_as_the_header_says) {
  const bytes lens = hex("00 02 01 2c 00 01"), cla = hex("00 00 00 00 00 00 00 02 00 00 01 2e 00 00 01 2f");
  uint64_t run_bits = 0;
  for (const uint8_t *sums : {static_cast<const uint8_t *>(nullptr), cla.data()}) {
    vorn_enc_ctx runs = dict(4);
    vorn_add_encoding_type_rle(&runs, lens.data(), sums, 16, 3, &run_bits);
    expect("<<" + std::string(300, '=') + "<", runs, "3a 10", "0a 00 00 00");
  }
}

TEST_P(stored_forms_test, decode_as_the_header_says) {
  EXPECT_EQ(values("41 54 4c 4f 52 44 44 46 57", "00 03", ""), (texts{"DFW", "ATL", "ORD"}));
  EXPECT_EQ(values("41 54 4c 50 61 72 69 73", "", "00 00 00 00 00 00 00 00 00 00 00 03 00 00 00 08"),
            (texts{"Paris", "NULL", "ATL"}));

  const vorn_ctx ctx = env.context();
  const bytes records = hex("02 61 62 30 31 30 32 31 37"), offsets = hex("00 00 00 00");
  vorn_enc_ctx groups = {};
  groups.vorn_enc_ctx_prefix_group = 16;
  groups.vorn_enc_ctx_prefix_vlen = 4;
  groups.vorn_enc_ctx_prefix_nvals = 3;
  std::string decoded(12, '?');
  vorn_cv src = vector_of(records.data(), groups, 1, offsets.data()), res = vector_of(decoded.data(), groups, 3);
  vorn_prefix_decode(&ctx, &res, &src, nullptr);
  EXPECT_EQ(decoded, "ab01ab02ab17");
}

TEST_P(stored_forms_test, join_as_the_header_says) {
  const vorn_ctx ctx = env.context();
  vorn_enc_ctx lv, lv_sep;
  vorn_build_encoding_type_lv(&lv);
  vorn_build_encoding_type_lv_sep(&lv_sep);
  const bytes keys = hex("02 00 61 62 00 00"), values = hex("61 62 63"), lens = hex("03 00 00 00");
  vorn_cv src = vector_of(keys.data(), lv, 2), payload = vector_of(values.data(), lv_sep, 2, lens.data());
  bytes areas[] = {bytes(10), bytes(13)};
  void *cur[] = {areas[0].data(), areas[1].data()};
  vorn_partition_buffer pb;
  vorn_build_partition_buffer(&pb, nullptr, cur, nullptr, 0, 0, VORN_PB_LV);
  vorn_aux aux = {};
  vorn_partition(
      &ctx, &pb, &src, &payload, [](auto, uint64_t len, uint64_t) { return len / 2; }, &aux);
  EXPECT_EQ(areas[1], bytes({0x0b, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0x61, 0x62, 0x63}));
}

TEST_P(stored_forms_test, translate_and_count_as_the_header_says) {
  const vorn_ctx ctx = env.context();
  const bytes keys = hex("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 03"), floats = hex("bf 80 00 00 40 7f ff ff");
  bytes table = hex("f5 e0"), integers = hex("00 05 ff fe"), entries(2);
  uint64_t bits = 0, range = 0;
  vorn_enc_ctx enc = fixed(32, VORN_HASH_VALUES), numbers = fixed(16);
  vorn_add_encoding_type_xlate(&numbers, 1, -4, 1, 0, 0);
  vorn_cv src = vector_of(keys.data(), enc, 4), res = vorn_test::result_of(&bits, 4),
          tbl = vector_of(nullptr, numbers, 0);
  res.vorn_cv_vals = &range;
  tbl.vorn_cv_bv = reinterpret_cast<uint64_t *>(table.data());
  vorn_aux aux = {};
  aux.vorn_aux_xlate_tbl = entries.data();
  vorn_xlate(&ctx, &res, &src, &tbl, &aux);
  EXPECT_TRUE(bits == 0xd && entries == bytes({0xf5, 0xe0}));

  float native[2];
  int64_t sum = 0;
  numbers.vorn_enc_ctx_num_type = VORN_NUM_FLOAT;
  src = vector_of(floats.data(), numbers, 2), res = vector_of(native, numbers, 2);
  vorn_convert(&ctx, &res, &src, nullptr);
  EXPECT_TRUE(native[0] == 1 && native[1] == -1);
  numbers.vorn_enc_ctx_num_type = VORN_NUM_DSB;
  src = vector_of(integers.data(), numbers, 2), res = vector_of(&sum, numbers, 1);
  vorn_gby_sum(&ctx, &res, &src, nullptr, &aux);
  EXPECT_EQ(sum, 3);
}

VORN_TEST_ALL_IMPLEMENTATIONS(stored_forms_test);

} // namespace
