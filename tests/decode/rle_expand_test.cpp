// The routines that turn run values into row values, against a loop over rows; run values in the tail of the output
// too.
#include "generic/decode/rle_expand.hpp"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/stored.hpp"

namespace {

using expand_fn = void (*)(vorn_cv *, const vorn_cv *, const void *, uint32_t, uint32_t);

template <class Element>
void check(expand_fn expand, unsigned lens_bytes, uint64_t seed) {
  std::mt19937_64 random(seed);
  for (const uint32_t nruns : {1U, 2U, 3U, 17U, 100U})
    for (int repetition = 0; repetition < 20; ++repetition) {
      std::vector<Element> values(nruns);
      std::vector<uint32_t> lengths(nruns);
      for (uint32_t run = 0; run < nruns; ++run) {
        values[run] = static_cast<Element>(random());
        lengths[run] = static_cast<uint32_t>(random() % (lens_bytes == 1 ? 256 : 700));
      }
      const auto first = static_cast<uint32_t>(random() % 9);
      const auto trim = static_cast<uint32_t>(random() % ((nruns == 1 ? first : lengths.back()) + 1));
      std::vector<Element> expected;
      for (uint32_t run = 0; run < nruns; ++run)
        expected.insert(expected.end(), (run == 0 ? first : lengths[run]) - (run + 1 == nruns ? trim : 0), values[run]);

      const vorn_test::run_length_array lens(lengths, 8 * lens_bytes);
      vorn_test::guarded out_memory((expected.size() + nruns) * sizeof(Element));
      // The run values lie in the last elements of the output, or right behind it where it is shorter.
      const size_t elements = std::max<size_t>(expected.size(), nruns);
      auto *out = reinterpret_cast<Element *>(out_memory.last(elements * sizeof(Element)));
      std::copy(values.begin(), values.end(), out + elements - nruns);
      vorn_cv res = {}, src = {};
      res.vorn_cv_vals = out;
      src.vorn_cv_vals = out + elements - nruns;
      src.vorn_cv_nrows = nruns;
      bool in_place = true; // values may be overwritten only after they were read
      for (size_t written = 0, run = 0; run + 1 < nruns; ++run) {
        written += run == 0 ? first : lengths[run];
        in_place = in_place && written <= elements - nruns + run + 1;
      }
      if (!in_place)
        src.vorn_cv_vals = values.data();
      expand(&res, &src, lens.data(), first, trim);
      ASSERT_EQ(std::vector<Element>(out, out + expected.size()), expected) << nruns << " runs, seed " << seed;
      ASSERT_TRUE(out_memory.intact(elements * sizeof(Element)));
    }
}

TEST(rle_expand, repeats_every_run_value) {
  check<uint8_t>(vorn_rle8_expand_ub1, 1, 1);
  check<uint16_t>(vorn_rle8_expand_ub2, 1, 2);
  check<uint32_t>(vorn_rle8_expand_ub4, 1, 3);
  check<uint8_t>(vorn_rle16_expand_ub1, 2, 4);
  check<uint16_t>(vorn_rle16_expand_ub2, 2, 5);
  check<uint32_t>(vorn_rle16_expand_ub4, 2, 6);
}

TEST(rle_expand, one_run_writes_first_less_trim) {
  uint16_t out[8] = {1, 1, 1, 1, 1, 1, 1, 1};
  uint16_t value[1] = {0x1234};
  vorn_cv res = {}, src = {};
  res.vorn_cv_vals = out;
  src.vorn_cv_vals = value;
  src.vorn_cv_nrows = 1;
  vorn_rle8_expand_ub2(&res, &src, nullptr, 7, 3); // the length of the first run is not read
  EXPECT_EQ(out[3], 0x1234);
  EXPECT_EQ(out[4], 1);
}

TEST(rle_expand, fills_take_the_low_bits) {
  alignas(4) uint8_t bytes[12] = {};
  vorn_memset_ub1(bytes, 0x1234, 2);
  vorn_memset_ub2(bytes + 4, 0x56789abc, 1);
  vorn_memset_ub4(bytes + 8, 0xfedcba98, 1);
  const uint8_t expected[12] = {0x34, 0x34, 0, 0, 0xbc, 0x9a, 0, 0, 0x98, 0xba, 0xdc, 0xfe};
  EXPECT_TRUE(std::equal(std::begin(bytes), std::end(bytes), std::begin(expected)));
}

} // namespace
