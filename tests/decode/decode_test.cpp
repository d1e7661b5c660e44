// The decoders of packed codes: every kernel in both layouts against the dictionary.
#include <gtest/gtest.h>

#include <random>

#include "tests/decode/dictionary.hpp"
#include "tests/model/dict_predicate.hpp"
#include "tests/support/implementation.hpp"
#include "tests/support/slots.hpp"

namespace {

using vorn_test::decode_output;
using vorn_test::decoded;
using vorn_test::slot;

class decode_kernels : public vorn_test::implementation_test {
protected:
  // Packs codes so that the first one begins behind or the last one ends at unreadable memory.
  uint8_t *pack(unsigned width, const std::vector<uint32_t> &codes) {
    const size_t size = (codes.size() * width + 7) / 8;
    uint8_t *bytes = random() % 2 == 0 ? stream.behind(0, size) : stream.last(size);
    std::fill_n(bytes, size, uint8_t{0xff});
    for (size_t i = 0; i < codes.size(); ++i)
      vorn_model::put_code(bytes, width, i, codes[i]);
    return bytes;
  }

  static vorn_aux list_of(std::vector<uint32_t> &rows) {
    vorn_aux aux = {};
    aux.vorn_aux_ones_vec = rows.data();
    aux.vorn_aux_ones_vec_size = static_cast<uint32_t>(rows.size());
    aux.vorn_aux_start_slot = 77;
    return aux;
  }

  // Decodes the rows of a list and compares with expected(code).
  template <class Expected>
  void check(const slot &s, vorn_enc_ctx enc, const std::vector<uint32_t> &codes, std::vector<uint32_t> rows,
             Expected expected) {
    decode_output out(rows.size());
    vorn_cv src = vorn_test::vector_of(pack(s.width(), codes), enc, 1);
    uint64_t filter = 0; // neither the filter nor the number of rows matters
    vorn_aux aux = list_of(rows);
    aux.vorn_aux_filter_bv = &filter;
    ASSERT_EQ(s.run(out.res, src, aux), uint32_t{VORN_RESULT_DONE});
    for (size_t i = 0; i < rows.size(); ++i)
      ASSERT_EQ(out.at(i), expected(codes[rows[i]])) << s.name() << " row " << rows[i] << " of " << codes.size();
    EXPECT_TRUE(out.nothing_from(rows.size())) << s.name();
    EXPECT_EQ(out.res.vorn_cv_popc, rows.size()) << s.name();
    EXPECT_EQ(aux.vorn_aux_start_slot, rows.empty() ? 77 : rows.back()) << s.name();
    EXPECT_EQ(aux.vorn_aux_op_bits[1], 0x04) << s.name();
  }

  std::vector<slot> kernels() { return vorn_test::slots_of(VORN_OPC_DECODE, 22); }

  std::mt19937_64 random{20241124};
  vorn_test::guarded stream{4 * 1100};
};

TEST_P(decode_kernels, find_the_values_of_both_layouts) {
  for (const slot &s : kernels()) {
    const auto nsyms = static_cast<uint32_t>(std::min(uint64_t{1} << s.width(), uint64_t{300}));
    const vorn_test::offset_dictionary offsets(nsyms);
    const uint8_t symbol_bytes[1] = {};
    const uint8_t length[2] = {0x01, 0x02};
    const vorn_enc_ctx equal = vorn_test::one_length(s.width(), symbol_bytes, length);
    for (const uint32_t nrows : {1U, 2U, 3U, 8U, 9U, 64U, 1025U}) {
      std::vector<uint32_t> rows(nrows), small(nrows), any(nrows);
      for (uint32_t row = 0; row < nrows; ++row) {
        rows[row] = row;
        small[row] = static_cast<uint32_t>(random() % nsyms);
        any[row] = static_cast<uint32_t>(random() & ((uint64_t{1} << s.width()) - 1));
      }
      std::shuffle(rows.begin(), rows.end(), random);
      rows.push_back(rows[0]);
      ASSERT_NO_FATAL_FAILURE(
          check(s, offsets.encoding(s.width()), small, rows, [&](uint32_t code) { return offsets.at(code); }));
      // Offsets of values of one length are taken in 32 bits.
      ASSERT_NO_FATAL_FAILURE(check(s, equal, any, rows, [&](uint32_t code) {
        return decoded{symbol_bytes + code * 0x102U, 0x102, 0};
      }));
      ASSERT_NO_FATAL_FAILURE(check(s, equal, any, {}, [](uint32_t) { return decoded{}; }));
    }
  }
}

// Values of length 0 are NULL, whatever their codes: the stream is left as it is, even when it is compressed.
TEST_P(decode_kernels, ask_for_no_code_where_all_values_are_null) {
  const uint8_t length[2] = {};
  void *kept = nullptr;
  std::vector<uint32_t> rows = {1, 5, 7};
  for (const slot &s : kernels()) {
    vorn_enc_ctx enc = vorn_test::one_length(s.width(), nullptr, length, VORN_STREAM);
    decode_output out(3);
    vorn_cv src = vorn_test::vector_of(nullptr, enc, 9);
    src.vorn_cv_stream_slot = &kept;
    vorn_aux aux = list_of(rows);
    EXPECT_EQ(s.run(out.res, src, aux), uint32_t{VORN_RESULT_DONE});
    for (size_t i = 0; i < 3; ++i)
      EXPECT_EQ(out.at(i), (decoded{reinterpret_cast<const void *>(decode_output::untouched), 0, 2})) << s.name();
    EXPECT_TRUE(out.nothing_from(3));
    EXPECT_EQ(out.res.vorn_cv_popc, 3U);
    EXPECT_EQ(aux.vorn_aux_start_slot, 7U);
    EXPECT_EQ(aux.vorn_aux_op_bits[1], 0x04);
  }
  EXPECT_EQ(kept, nullptr);
}

TEST_P(decode_kernels, refuse_a_layout_that_they_do_not_know) {
  std::vector<uint32_t> rows = {0};
  for (const uint32_t layout : {2U, 0x100U, UINT32_MAX})
    for (const slot &s : kernels()) {
      vorn_enc_ctx enc = s.encoding_context();
      enc.vorn_enc_ctx_dict_layout = layout;
      decode_output out(1);
      vorn_cv src = vorn_test::vector_of(nullptr, enc, 1);
      vorn_aux aux = list_of(rows), before;
      std::memcpy(&before, &aux, sizeof aux);
      EXPECT_EQ(s.run(out.res, src, aux), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
      EXPECT_TRUE(out.nothing_from(0));
      EXPECT_EQ(out.res.vorn_cv_popc, 12345U);
      EXPECT_EQ(std::memcmp(&aux, &before, sizeof aux), 0);
      EXPECT_EQ(vorn_decode_is_vorn_dict_type_supported(layout), 0U);
    }
  EXPECT_EQ(vorn_decode_is_vorn_dict_type_supported(VORN_DICT_ONE_LENGTH), 1U);
  EXPECT_EQ(vorn_decode_is_vorn_dict_type_supported(VORN_DICT_CLA), 1U);
}

VORN_TEST_ALL_IMPLEMENTATIONS(decode_kernels);

} // namespace
