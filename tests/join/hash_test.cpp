// Hashing: the bytes, lengths and seeds that the host's function is given, their order, and where its values go.
#include <numeric>
#include <tuple>

#include "generic/join/families.hpp"
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

// Values that repeat after 32 rows or after all codes, empty ones and some of 65,535 bytes among them.  Of a symbol's
// length the low 16 bits count.
std::vector<std::string> values_of(uint32_t form, uint32_t width, uint32_t n) {
  std::vector<std::string> values;
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t k = i * 7 % (form == VORN_DICT && width < 5 ? 1U << width : 32),
                   most = form == VORN_DICT ? 0x10003 : 0xffff;
    values.emplace_back(form == VORN_FIXED ? width % 0x10000 / 8 : k == 1 ? most : k * 5 % 23, '0' + k);
  }
  return values;
}

const char *const names[] = {"fixed", "dict", "lv_sep", "lv", "lp_sep", "lp"}; // in the order in which flags count
const uint32_t forms[] = {VORN_FIXED, VORN_DICT, VORN_LV_SEP, VORN_LV, VORN_LP_SEP, VORN_LP};
const uint32_t widths[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,      11,    12,
                           13, 14, 15, 16, 17, 18, 19, 20, 24, 32, 0x10018, 0xfff8};

using hashing = vorn_test::implementation_test;

TEST_P(hashing, gives_every_row_to_the_function_once) {
  vorn_test::guarded results(8 * 300), seed_memory(8 * 300);
  for (const size_t f : each_from(size_t{0}, std::size(forms) - 1)) {
    const uint32_t form = forms[f];
    // Flags that do not count beside that of the form.
    const uint32_t weaker = ~std::accumulate(forms, forms + f + 1, 0U, std::bit_or<>());
    for (const uint32_t width : each(widths))
      for (const uint32_t n : each({0U, 1U, 2U, 300U})) {
        if (form == VORN_DICT ? width == 0 || width > 32 : form != VORN_FIXED && width != 0)
          continue;
        const std::vector<std::string> values = values_of(form, width, n);
        vorn_test::stored_rows rows(form, values, width);
        for (const uint32_t nseeds : each({0U, 1U, 2U, 300U}))
          for (const uint32_t flags : each({form, form | weaker}))
            for (const bool by_name : each({false, true})) {
              const bool one = nseeds == 1;
              const std::string name = std::string("vorn_hash_hashfn_") + (one ? "const_" : "stream_") + names[f];
              uint64_t *out = results.last_words(n); // where one seed lies, too
              uint64_t *seeds = one && n != 0 && flags == form ? out : seed_memory.last_words(one ? 1 : n);
              std::vector<uint64_t> expected;
              calls.clear();
              for (uint32_t i = 0; i < n; ++i) {
                seeds[one ? 0 : i] = one ? 9 : i * 0x9e3779b97f4a7c15U;
                expected.push_back(recording(rows.places[i], values[i].size() & 0xffff, seeds[one ? 0 : i]));
              }
              const auto expected_calls = std::exchange(calls, {});
              rows.enc.vorn_enc_ctx_flags = flags;
              vorn_enc_ctx enc = {};
              enc.vorn_enc_ctx_flags = flags | VORN_HASH_VALUES;
              vorn_cv seed = vorn_test::vector_of(seeds, enc, nseeds), res = vorn_test::vector_of(out, enc, 1);
              const uint32_t code = by_name && GetParam().capability == 0
                                        ? vorn_test::member(vorn::hash_members, name)(&res, &rows.cv, &seed, recording)
                                        : vorn_global_ctx.vorn_hash_dydi(&res, &rows.cv, &seed, recording, nullptr);
              ASSERT_TRUE(code == VORN_RESULT_DONE && calls == expected_calls && results.intact(8 * size_t{n}) &&
                          std::equal(expected.begin(), expected.end(), out))
                  << name << ' ' << width << " rows " << n << " seeds " << nseeds << " flags " << flags << ' '
                  << by_name;
            }
      }
  }
  uint64_t offs[] = {7, 7}; // even without rows the first one begins
  vorn_hashfn_array_lv(nullptr, &offs[0], nullptr, 0, recording);
  vorn_hashfn_array_lv_sep(nullptr, &offs[1], nullptr, nullptr, 0, recording);
  EXPECT_TRUE(offs[0] == 0 && offs[1] == 0);
}

VORN_TEST_ALL_IMPLEMENTATIONS(hashing);

} // namespace
