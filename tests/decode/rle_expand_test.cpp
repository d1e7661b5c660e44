// The kernels that expand run values to row values, one case for each width.  The tests of unpacking have more cases.
#include "generic/decode/rle_expand.hpp"

#include <gtest/gtest.h>

#include "tests/support/stored.hpp"

namespace {

using expand_fn = void (*)(vorn_cv *, const vorn_cv *, const void *, uint32_t, uint32_t);

// The first run gives two rows, and its length is not read.  Then come an empty run, a long run, and the last run
// without its last row.  The run values lie in the tail of the output.
template <class Element>
void check(expand_fn expand, unsigned lens_width) {
  const uint32_t most = lens_width == 8 ? 255 : 700;
  const vorn_test::run_length_array lens({99, 0, most, 6}, lens_width);
  const auto value = [](uint32_t run) { return static_cast<Element>(0x76543210 + 0x11111111 * run); };
  std::vector<Element> expected(2 + most + 5, value(2));
  std::fill_n(expected.begin(), 2, value(0));
  std::fill_n(expected.rbegin(), 5, value(3));
  vorn_test::guarded memory(expected.size() * sizeof(Element));
  auto *out = reinterpret_cast<Element *>(memory.last(expected.size() * sizeof(Element)));
  vorn_cv res = {}, src = {};
  res.vorn_cv_vals = out;
  src.vorn_cv_vals = out + expected.size() - 4;
  src.vorn_cv_nrows = 4;
  for (uint32_t run = 0; run < 4; ++run)
    out[expected.size() - 4 + run] = value(run);
  expand(&res, &src, lens.data(), 2, 1);
  EXPECT_EQ(std::vector<Element>(out, out + expected.size()), expected);
  EXPECT_TRUE(memory.intact(expected.size() * sizeof(Element)));

  out[0] = value(1);
  src.vorn_cv_vals = out;
  src.vorn_cv_nrows = 1;
  expand(&res, &src, nullptr, 7, 3); // a single run is both the first and the last run
  EXPECT_EQ(std::vector<Element>(out, out + 5),
            (std::vector<Element>{value(1), value(1), value(1), value(1), value(2)}));
}

TEST(rle_expand, repeats_every_run_value) {
  check<uint8_t>(vorn_rle8_expand_ub1, 8);
  check<uint16_t>(vorn_rle8_expand_ub2, 8);
  check<uint32_t>(vorn_rle8_expand_ub4, 8);
  check<uint8_t>(vorn_rle16_expand_ub1, 16);
  check<uint16_t>(vorn_rle16_expand_ub2, 16);
  check<uint32_t>(vorn_rle16_expand_ub4, 16);
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
