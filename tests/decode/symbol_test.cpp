// The decoders of unpacked codes: elements of every size in both layouts, with and without flags, and copies.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "tests/decode/dictionary.hpp"
#include "tests/support/implementation.hpp"
#include "tests/support/slots.hpp"

namespace {

using vorn_test::decode_output;
using vorn_test::decoded;
using vorn_test::slot;

class symbol_kernels : public vorn_test::implementation_test {
protected:
  // Elements in the processor's order that end at unreadable memory.
  uint8_t *elements(const std::vector<uint32_t> &codes, size_t size) {
    uint8_t *bytes = memory.last(codes.size() * size);
    for (size_t i = 0; i < codes.size(); ++i)
      std::memcpy(bytes + i * size, &codes[i], size);
    return bytes;
  }

  uint32_t run(const slot &s, vorn_enc_ctx enc, const std::vector<uint32_t> &codes, uint8_t flags, uint8_t flags2,
               vorn_cv &res) {
    const size_t size = (flags & VORN_AUX_UNPACK_UB4) ? 4 : s.width() / 8;
    vorn_cv src = vorn_test::vector_of(elements(codes, size), enc, static_cast<uint32_t>(codes.size()));
    vorn_aux aux = {};
    aux.vorn_aux_flags = flags;
    aux.vorn_aux_flags2 = flags2;
    aux.vorn_aux_start_slot = 5;
    const uint32_t code = s.run(res, src, aux);
    EXPECT_EQ(aux.vorn_aux_start_slot, 5U);
    EXPECT_EQ(aux.vorn_aux_op_bits[1], 0);
    return code;
  }

  std::vector<slot> kernels() { return vorn_test::slots_of(VORN_OPC_DECODE_SYMBOL, 3); }

  std::mt19937 random{7};
  vorn_test::guarded memory{4 * 1025};
};

TEST_P(symbol_kernels, find_the_values_of_every_element) {
  const vorn_test::offset_dictionary offsets(300);
  const uint8_t symbol_bytes[1] = {}, five[2] = {0, 5}, none[2] = {};
  for (const slot &s : kernels())
    for (const uint8_t flags : {uint8_t{0}, uint8_t{VORN_AUX_UNPACK_UB4}})
      for (const bool flagged : {true, false})
        for (const size_t n : {0U, 1U, 3U, 1025U}) {
          const uint32_t nsyms = s.width() == 8 && flags == 0 ? 256 : 300;
          std::vector<uint32_t> codes(n);
          for (uint32_t &code : codes)
            code = static_cast<uint32_t>(random() % nsyms);
          const auto check = [&](const vorn_enc_ctx &enc, auto expected) {
            decode_output out(n);
            if (!flagged)
              out.res.vorn_cv_flgs = nullptr;
            // Only the widest kernel copies, and only values of one length.
            const bool copies = s.width() == 32 && enc.vorn_enc_ctx_dict_layout != VORN_DICT_CLA;
            const uint8_t copy = copies ? 0 : VORN_AUX_COPY_VALUES;
            ASSERT_EQ(run(s, enc, codes, flags, copy, out.res), uint32_t{VORN_RESULT_DONE});
            for (size_t i = 0; i < n; ++i) {
              decoded value = expected(codes[i]);
              if (!flagged)
                value.flags = 0xabab;
              ASSERT_EQ(out.at(i), value) << s.name() << " element " << i;
            }
            EXPECT_TRUE(out.nothing_from(n));
            EXPECT_EQ(out.res.vorn_cv_popc, n);
          };
          ASSERT_NO_FATAL_FAILURE(check(offsets.encoding(s.width()), [&](uint32_t code) { return offsets.at(code); }));
          ASSERT_NO_FATAL_FAILURE(check(vorn_test::one_length(s.width(), symbol_bytes, five), [&](uint32_t code) {
            return decoded{symbol_bytes + code * 5, 5, 0};
          }));
          ASSERT_NO_FATAL_FAILURE(check(vorn_test::one_length(s.width(), symbol_bytes, none), [&](uint32_t) {
            return decoded{reinterpret_cast<const void *>(decode_output::untouched), 0, 2};
          }));
        }
}

TEST_P(symbol_kernels, copy_values_of_one_length_back_to_back) {
  std::string symbols;
  for (unsigned i = 0; i < 2000; ++i)
    symbols += static_cast<char>('a' + i * 7 % 26);
  const slot s = kernels().back();
  ASSERT_EQ(s.width(), 32U);
  for (const uint32_t length : {0U, 1U, 2U, 5U, 8U, 17U}) {
    const uint8_t lens[2] = {0, static_cast<uint8_t>(length)};
    const vorn_enc_ctx enc = vorn_test::one_length(32, symbols.data(), lens);
    std::vector<uint32_t> codes(60);
    std::string expected;
    for (uint32_t &code : codes) {
      code = static_cast<uint32_t>(random() % 100);
      expected += symbols.substr(code * length, length);
    }
    vorn_test::guarded copies(expected.size());
    decode_output out(codes.size());
    out.res.vorn_cv_vals = copies.last(expected.size());
    EXPECT_EQ(run(s, enc, codes, 0, VORN_AUX_COPY_VALUES, out.res), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(std::string(static_cast<char *>(out.res.vorn_cv_vals), expected.size()), expected);
    EXPECT_TRUE(copies.intact(expected.size()));
    EXPECT_TRUE(out.nothing_from(0)) << "neither lengths nor flags";
    EXPECT_EQ(out.res.vorn_cv_popc, 60U);
  }
}

TEST_P(symbol_kernels, refuse_a_layout_that_they_do_not_know) {
  for (const slot &s : kernels())
    for (const uint8_t copy : {uint8_t{0}, uint8_t{VORN_AUX_COPY_VALUES}}) {
      vorn_enc_ctx enc = s.encoding_context();
      enc.vorn_enc_ctx_dict_layout = 2;
      decode_output out(1);
      EXPECT_EQ(run(s, enc, {0}, 0, copy, out.res), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
      EXPECT_TRUE(out.nothing_from(0));
      EXPECT_EQ(out.res.vorn_cv_popc, 12345U);
    }
}

VORN_TEST_ALL_IMPLEMENTATIONS(symbol_kernels);

} // namespace
