// Every predicate over fixed and dynamic-packed values, of every implementation, against the model.  The cases are all
// strides, the second key, and shared length codes.  Streams and constants begin or end at an unreadable page.
#include "tests/generic/scan_test.hpp"

namespace {

using vorn_model::sort_pair;
using vorn_test::each, vorn_test::each_from;
using vorn_test::scan_call;
using vorn_test::slot;
using vorn_test::store_big;
using vorn_test::vector_of;

std::vector<slot> slots_of(unsigned encoding) {
  return vorn_test::slots_where([&](const slot &s) { return s.predicate() && s.encoding() == encoding; });
}

class value_predicates_test : public vorn_test::scan_test {
protected:
  // One of few numbers of `size` bytes, with extremes and neighbours, so that every predicate selects some rows only.
  uint64_t draw(unsigned size) {
    const uint64_t top = UINT64_MAX >> (64 - 8 * size);
    const uint64_t middle = 0x8070605040302010 >> (64 - 8 * size);
    const uint64_t palette[] = {
        0, 1, top, top - 1, middle, middle ^ 1, middle ^ (top ^ top >> 1), middle & ~uint64_t{0xff}};
    return palette[random.below(std::size(palette))];
  }

  // Memory for a stream or a constant, at one of the two ends of its pages.
  uint8_t *place(vorn_test::guarded &memory, size_t size) { return vorn_test::place(memory, size, random.below(2)); }

  // A constant of `size` bytes near a row, and its length code.
  sort_pair make_constant(vorn_cv &cst, vorn_enc_ctx &enc, vorn_test::guarded &value, vorn_test::guarded &code,
                          unsigned size, const std::vector<sort_pair> &rows, unsigned codes) {
    sort_pair key = {draw(size), static_cast<unsigned>(random.below(codes))};
    if (!rows.empty() && random.below(4) != 0)
      key = rows[random.below(rows.size())];
    if (random.below(4) == 0)
      key.second = static_cast<unsigned>(random.below(codes));
    cst = vector_of(place(value, size), enc, 1, place(code, 1));
    store_big(static_cast<uint8_t *>(cst.vorn_cv_vals), key.first, size);
    *static_cast<uint8_t *>(cst.vorn_cv_lens) = static_cast<uint8_t>(key.second);
    return key;
  }

  // Makes two constants and runs the kernel over rows whose sort keys are known.
  void check_rows(const slot &s, const scan_call &call, const vorn_cv &src, vorn_enc_ctx &enc, unsigned size,
                  std::vector<sort_pair> rows, unsigned codes, bool second_key) {
    vorn_cv lo, hi;
    sort_pair c = make_constant(lo, enc, lo_value, lo_code, size, rows, codes);
    sort_pair d = make_constant(hi, enc, hi_value, hi_code, size, rows, codes);
    if (!second_key) {
      c.second = d.second = 0;
      for (sort_pair &row : rows)
        row.second = 0;
    }
    const auto matches = [&](uint32_t row) { return vorn_model::satisfies(rows[row], s.opcode(), c, d); };
    const auto text = [](const sort_pair &key) { return std::to_string(key.first) + ":" + std::to_string(key.second); };
    check(s, call, src, lo, hi, matches,
          "width " + std::to_string(8 * size) + " constants " + text(c) + ", " + text(d));
  }

  void check_fixed(const slot &s, const scan_call &call, unsigned width, bool uniform) {
    const unsigned size = width / 8;
    const bool second_key = s.flag() && s.width() != 8;
    const unsigned bits = second_key ? vorn_model::length_code_bits(s.width()) : 1;
    vorn_enc_ctx enc;
    vorn_build_encoding_type_fixed(&enc, width, (s.flag() ? VORN_TZ : 0) | (uniform ? VORN_UNIFORM_LENS : 0));
    ASSERT_EQ(enc.vorn_enc_ctx_type << 5 | s.opcode(), s.index);

    uint8_t *bytes = place(values, uint64_t{call.nrows} * size);
    const size_t nlens = uniform ? 1 : (uint64_t{call.nrows} * bits + 7) / 8;
    uint8_t *codes = place(lens, nlens);
    std::fill_n(codes, nlens, uint8_t{0xff}); // stray bits after the last code
    std::vector<sort_pair> rows;
    for (uint32_t row = 0; row < call.nrows; ++row) {
      store_big(bytes + row * size, draw(size), size);
      if (!uniform)
        vorn_model::put_length_code(codes, bits, row, static_cast<unsigned>(random() & ((1U << bits) - 1)));
      else if (row == 0)
        *codes = static_cast<uint8_t>(random());
      rows.emplace_back(vorn_model::value_at(bytes + row * size, size, size),
                        uniform ? *codes : vorn_model::length_code_at(codes, bits, row));
    }
    check_rows(s, call, vector_of(bytes, enc, call.nrows, second_key ? codes : nullptr), enc, size, rows,
               uniform ? 256 : 1U << bits, second_key);
  }

  // Fills the streams with rows of up to the bytes of the class; returns their sort keys.
  std::vector<sort_pair> make_dynp(vorn_cv &src, vorn_enc_ctx &enc, const slot &s, uint32_t nrows) {
    const unsigned width = s.width();
    const unsigned bits = vorn_model::length_code_bits(width);
    const size_t nlens = (uint64_t{nrows} * bits + 7) / 8;
    uint8_t *codes = place(lens, nlens);
    std::fill_n(codes, nlens, uint8_t{0xff});
    std::vector<uint8_t> stored;
    const unsigned fewest =
        static_cast<unsigned>(random.below(2)) * (width / 8 - 1); // sometimes all rows have full length
    for (uint32_t row = 0; row < nrows; ++row) {
      const unsigned code = std::max(fewest, static_cast<unsigned>(random.below(width / 8)));
      vorn_model::put_length_code(codes, bits, row, code);
      uint8_t value[8];
      store_big(value, draw(width / 8), width / 8);
      stored.insert(stored.end(), value, value + code + 1);
    }
    uint8_t *bytes = place(values, stored.size());
    std::copy(stored.begin(), stored.end(), bytes);
    enc = s.encoding_context();
    src = vector_of(bytes, enc, nrows, codes);
    return vorn_model::dynp_rows(bytes, codes, width, nrows);
  }

  vorn_test::guarded values{most_rows * 8}, lens{most_rows};
  vorn_test::guarded lo_value{8}, hi_value{8}, lo_code{1}, hi_code{1};
};

TEST_P(value_predicates_test, fixed_agree_with_the_model) {
  const auto slots = slots_of(VORN_ENC_FIXED);
  ASSERT_EQ(slots.size(), 80U);
  for (const slot &s : each(slots))
    for (unsigned width = 8; width <= 64; width += 8) {
      vorn_enc_ctx enc;
      vorn_build_encoding_type_fixed(&enc, width, 0);
      if (enc.vorn_enc_ctx_width_code != s.width_code())
        continue;
      for (const int uniform : each_from(0, s.flag() ? 1 : 0))
        ASSERT_NO_FATAL_FAILURE(
            for_each_call([&](const scan_call &call) { check_fixed(s, call, width, uniform != 0); }));
    }
}

TEST_P(value_predicates_test, dynp_agree_with_the_model) {
  const auto slots = slots_of(VORN_ENC_DYNP);
  ASSERT_EQ(slots.size(), 60U);
  for (const slot &s : each(slots))
    for ([[maybe_unused]] const int repetition : each({1, 2, 3, 4}))
      ASSERT_NO_FATAL_FAILURE(for_each_call([&](const scan_call &call) {
        vorn_cv src;
        vorn_enc_ctx enc;
        const auto rows = make_dynp(src, enc, s, call.nrows);
        ASSERT_EQ(enc.vorn_enc_ctx_type << 5 | s.opcode(), s.index);
        check_rows(s, call, src, enc, s.width() / 8, rows, s.width() / 8 + 1, s.flag());
      }));
}

// The highest code of the longest class is illegal.  It does not make a row longer.
TEST_P(value_predicates_test, an_illegal_length_code_reads_nothing_after_the_values) {
  for (const slot &s : slots_of(VORN_ENC_DYNP)) {
    if (s.width() != 64 || s.opcode() != VORN_OPC_GE)
      continue;
    uint8_t codes[33], zero[8] = {}, shortest = 0;
    std::fill_n(codes, sizeof codes, uint8_t{0xff});
    for (const uint32_t nrows : {65U, 66U})
      for (const bool selective : {false, true}) {
        uint8_t *bytes = values.last(nrows * 8);
        std::fill_n(bytes, nrows * 8, uint8_t{1});
        vorn_enc_ctx enc = s.encoding_context();
        uint64_t out[2], filter[2] = {~uint64_t{0}, 3};
        vorn_cv res = vorn_test::result_of(out, nrows), src = vector_of(bytes, enc, nrows, codes);
        const vorn_cv cst = vector_of(zero, enc, 1, &shortest);
        vorn_aux aux = vorn_test::selective_by(filter, selective);
        s.run(res, src, cst, cst, aux);
        EXPECT_EQ(res.vorn_cv_popc, nrows) << s.name();
      }
  }
}

// An illegal length code of a constant is refused before any other work, also before a twin or a stream is used.
TEST_P(value_predicates_test, dynp_refuse_constants_that_are_too_long) {
  for (const slot &s : slots_of(VORN_ENC_DYNP))
    for (const unsigned too_long : {s.width() / 8 + 1, 255U})
      for (const bool second : {false, true})
        for (const bool selective : {false, true}) {
          if (second && !s.range())
            continue;
          vorn_enc_ctx enc = s.encoding_context(VORN_STREAM);
          uint64_t value = 0, out[2] = {7, 7}, filter[2] = {~uint64_t{0}, ~uint64_t{0}};
          const auto good = static_cast<uint8_t>(s.width() / 8), bad = static_cast<uint8_t>(too_long);
          void *decompressed = nullptr;
          vorn_cv res = vorn_test::result_of(out, 100), src = vector_of(nullptr, enc, 100);
          src.vorn_cv_stream_slot = &decompressed;
          res.vorn_cv_popc = 1234;
          vorn_aux aux = vorn_test::selective_by(filter, selective);
          EXPECT_EQ(s.run(res, src, vector_of(&value, enc, 1, second ? &good : &bad),
                          vector_of(&value, enc, 1, second ? &bad : &good), aux),
                    uint32_t{VORN_RESULT_REFUSED})
              << s.name();
          EXPECT_EQ(res.vorn_cv_popc, 1234U) << s.name();
          EXPECT_EQ(out[0], 7U) << s.name();
          EXPECT_EQ(out[1], 7U) << s.name();
          EXPECT_EQ(aux.vorn_aux_op_bits[1], 0) << s.name();
          EXPECT_EQ(decompressed, nullptr) << s.name();
        }
}

TEST_P(value_predicates_test, a_width_without_a_reading_is_a_fatal_assertion_at_the_first_row) {
  testing::GTEST_FLAG(death_test_style) = "fast";
  for (const slot &s : slots_of(VORN_ENC_FIXED)) {
    if (!s.flag() || s.width() < 32 || (s.opcode() != VORN_OPC_EQ && s.opcode() != VORN_OPC_GE_LE))
      continue;
    uint8_t bytes[64] = {}, code = 0;
    uint64_t out[1], filter[1] = {1}, nothing[1] = {0};
    vorn_enc_ctx enc = s.encoding_context();
    enc.vorn_enc_ctx_width = 16;
    vorn_cv res = vorn_test::result_of(out, 2), src = vector_of(bytes, enc, 2, &code);
    const vorn_cv cst = vector_of(bytes, enc, 1, &code);
    const auto call = [&](uint64_t *rows) {
      vorn_aux aux = vorn_test::selective_by(rows);
      return s.run(res, src, cst, cst, aux);
    };
    const char *message = "generic/vornc_generic:.* Assertion `0' failed";
    EXPECT_DEATH(call(nullptr), message) << s.name();
    EXPECT_DEATH(call(filter), message) << s.name();
    EXPECT_EQ(call(nothing), uint32_t{VORN_RESULT_EMPTY}) << s.name();
    res.vorn_cv_nrows = src.vorn_cv_nrows = 0;
    EXPECT_EQ(call(nullptr), uint32_t{VORN_RESULT_EMPTY}) << s.name();
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(value_predicates_test);

} // namespace
