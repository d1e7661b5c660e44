// Hashing: the bytes, lengths and seeds that the host's function gets, their order, and where its values are stored.
#include <numeric>
#include <tuple>

#include "generic/join/keys.hpp"
#include "tests/join/rows.hpp"
#include "tests/support/implementation.hpp"

namespace {

using vorn_test::each, vorn_test::each_from;

std::vector<std::tuple<const void *, uint64_t, uint64_t>> calls;
uint64_t recording(const void *data, uint64_t length, uint64_t seed) {
  calls.emplace_back(data, length, seed);
  return vorn_test::mix(data, length, seed);
}

// Values that repeat after 32 rows or after all codes.  Some are empty and some have 65,535 bytes.  Of the length of a
// symbol, the low 16 bits count.
std::vector<std::string> values_of(uint32_t form, uint32_t width, uint32_t n) {
  std::vector<std::string> values;
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t k = i * 7 % (form == VORN_DICT && width < 5 ? 1U << width : 32),
                   most = form == VORN_DICT ? 0x10003 : 0xffff;
    values.emplace_back(form == VORN_FIXED ? width % 0x10000 / 8 : k == 1 ? most : k * 5 % 23, '0' + k);
  }
  return values;
}

const char *const names[] = {"fixed", "dict", "lv_sep", "lv", "lp_sep", "lp"}; // in the order in which flags decide
const uint32_t forms[] = {VORN_FIXED, VORN_DICT, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP};
const uint32_t widths[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,      11,    12,
                           13, 14, 15, 16, 17, 18, 19, 20, 24, 32, 0x10018, 0xfff8};

using hashing = vorn_test::implementation_test;

TEST_P(hashing, gives_every_row_to_the_function_once) {
  vorn_test::guarded results(8 * 300), seed_memory(8 * 300);
  for (const size_t f : each_from(size_t{0}, std::size(forms) - 1)) {
    const uint32_t form = forms[f];
    const uint32_t later = ~std::accumulate(forms, forms + f + 1, 0U, std::bit_or<>()); // flags without effect
    for (const uint32_t width : each(widths))
      for (const uint32_t n : each({0U, 1U, 2U, 300U})) {
        if (form == VORN_DICT ? width == 0 || width > 32 : form != VORN_FIXED && width != 0)
          continue;
        const std::vector<std::string> values = values_of(form, width, n);
        vorn_test::stored_rows rows(form, values, width);
        for (const uint32_t nseeds : each({0U, 1U, 2U, 300U}))
          for (const uint32_t flags : each({form, form | later})) {
            const bool one = nseeds == 1;
            uint64_t *out = results.last_words(n);
            // A single seed may lie where the results go.
            uint64_t *seeds = one && n != 0 && flags == form ? out : seed_memory.last_words(one ? 1 : n);
            std::vector<uint64_t> expected;
            calls.clear();
            for (uint32_t i = 0; i < n; ++i) {
              seeds[one ? 0 : i] = one ? 9 : i * 0x9e3779b97f4a7c15U;
              expected.push_back(recording(rows.addresses[i], values[i].size() & 0xffff, seeds[one ? 0 : i]));
            }
            const auto expected_calls = std::exchange(calls, {});
            rows.enc.vorn_enc_ctx_flags = flags;
            vorn_enc_ctx enc = {};
            enc.vorn_enc_ctx_flags = flags | VORN_HASH_VALUES;
            vorn_cv seed = vorn_test::vector_of(seeds, enc, nseeds), res = vorn_test::vector_of(out, enc, 1);
            const uint32_t code = vorn_global_ctx.vorn_hash_dydi(&res, &rows.cv, &seed, recording, nullptr);
            ASSERT_TRUE(code == VORN_RESULT_DONE && calls == expected_calls && results.intact(8 * size_t{n}) &&
                        std::equal(expected.begin(), expected.end(), out))
                << "vorn_hash_hashfn_" << (one ? "const_" : "stream_") << names[f] << " width " << width << " rows "
                << n << " seeds " << nseeds << " flags " << flags;
          }
      }
  }
  uint64_t offs[] = {7, 7}; // without rows, the offset of the end is written
  vorn_hashfn_array_lv(nullptr, &offs[0], nullptr, 0, recording);
  vorn_hashfn_array_lv_sep(nullptr, &offs[1], nullptr, nullptr, 0, recording);
  EXPECT_TRUE(offs[0] == 0 && offs[1] == 0);
}

// Also where few codes have many rows.
TEST_P(hashing, gives_every_row_of_a_long_column_of_codes_to_the_function) {
  constexpr uint32_t n = 9000;
  for (const uint32_t width : each({1U, 12U, 13U})) {
    std::vector<std::string> values;
    for (uint32_t i = 0; i < n; ++i)
      values.push_back(std::to_string(i % (1U << width)));
    vorn_test::stored_rows rows(VORN_DICT, values, width);
    uint64_t one_seed = 9;
    std::vector<uint64_t> out(n);
    vorn_enc_ctx enc = {};
    enc.vorn_enc_ctx_flags = VORN_HASH_VALUES;
    vorn_cv seed = vorn_test::vector_of(&one_seed, enc, 1), res = vorn_test::vector_of(out.data(), enc, n);
    calls.clear();
    EXPECT_EQ(vorn_global_ctx.vorn_hash_dydi(&res, &rows.cv, &seed, recording, nullptr), VORN_RESULT_DONE);
    EXPECT_EQ(calls.size(), n);
    for (uint32_t i = 0; i < n; ++i)
      ASSERT_EQ(out[i], vorn_test::mix(values[i].data(), values[i].size(), one_seed)) << "row " << i;
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(hashing);

} // namespace
