// The prefix decoder: groups of every shape against values that are put together byte by byte.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"
#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace {

using vorn_test::each, vorn_test::each_from;

// Groups of 16 random values one after the other, in a shuffled order.  They end at unreadable memory.
struct prefix_source {
  prefix_source(uint32_t nvals, uint32_t length, uint32_t prefix_length, uint32_t spare_groups,
                vorn_test::random_source &random)
      : ngroups((nvals + 15) / 16 + spare_groups), values(size_t{nvals} * length) {
    std::vector<uint32_t> order(ngroups);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), random);
    uint8_t *offsets = offset_memory.last(4 * size_t{ngroups});
    std::vector<uint8_t> stored;
    for (const uint32_t group : order) {
      vorn_test::store_big(offsets + 4 * size_t{group}, stored.size(), 4);
      const uint32_t n = std::min(16U, nvals - std::min(nvals, group * 16));
      const uint32_t p = prefix_length > length ? static_cast<uint32_t>(random.below(length + 1)) : prefix_length;
      stored.push_back(static_cast<uint8_t>(p));
      const size_t record = stored.size();
      for (uint32_t i = 0; i < p + n * (length - p); ++i)
        stored.push_back(static_cast<uint8_t>(random()));
      for (uint32_t i = 0; i < n; ++i)
        for (uint32_t k = 0; k < length; ++k)
          values[(group * 16 + i) * length + k] = stored[record + k + (k < p ? 0 : i * (length - p))];
    }
    uint8_t *area = records.last(stored.size());
    std::copy(stored.begin(), stored.end(), area);
    enc.vorn_enc_ctx_prefix_group = 16;
    enc.vorn_enc_ctx_prefix_vlen = static_cast<uint16_t>(length);
    enc.vorn_enc_ctx_prefix_nvals = nvals;
    src = vorn_test::vector_of(area, enc, ngroups, offsets);
  }

  uint32_t ngroups;
  std::vector<uint8_t> values;
  vorn_test::guarded records{10000}, offset_memory{400};
  vorn_enc_ctx enc = {};
  vorn_cv src = {};
};

class prefix_decode : public vorn_test::implementation_test {
protected:
  vorn_test::random_source random{3};
};

TEST_P(prefix_decode, puts_values_together) {
  vorn_test::guarded output(8 * 1000), descriptors(16 * 1000);
  for (const uint32_t length : each_from(1U, 8U))
    for (const uint32_t prefix :
         each_from(0U, length + 1)) // the last one means that each group has its own prefix length
      for (const uint32_t nvals : each({0U, 1U, 5U, 16U, 17U, 33U, 1000U}))
        for (const uint32_t spare_groups : each({0U, 2U})) {
          prefix_source source(nvals, length, prefix, spare_groups, random);
          const size_t size = source.values.size();
          vorn_aux aux = {};
          uint8_t *described = descriptors.last(16 * size_t{nvals});
          std::fill_n(described, 16 * size_t{nvals}, uint8_t{0xab});
          aux.vorn_aux_prefix_out = described;
          vorn_cv res = {};
          res.vorn_cv_popc = 12345;
          for (vorn_aux *given : {static_cast<vorn_aux *>(nullptr), &aux}) {
            uint8_t *out = output.last(size);
            res.vorn_cv_vals = out;
            ASSERT_EQ(vorn_global_ctx.vorn_prefix_decode_dydi(&res, &source.src, given), uint32_t{VORN_RESULT_DONE});
            ASSERT_EQ(std::vector<uint8_t>(out, out + size), source.values)
                << nvals << " values of " << length << " with a prefix of " << prefix;
            ASSERT_TRUE(output.intact(size));
            ASSERT_EQ(res.vorn_cv_popc, 12345U);
          }
          for (uint32_t i = 0; i < nvals; ++i) {
            uint8_t expected[16] = {0, 0, 0, 0,    0,    0,    0,   0, static_cast<uint8_t>(length),
                                    0, 0, 0, 0xab, 0xab, 0xab, 0xab};
            const uint8_t *value = static_cast<const uint8_t *>(res.vorn_cv_vals) + i * length;
            std::memcpy(expected, &value, sizeof value);
            ASSERT_EQ(std::memcmp(described + 16 * size_t{i}, expected, 16), 0) << i;
          }
          ASSERT_TRUE(descriptors.intact(16 * size_t{nvals}));
        }
}

TEST_P(prefix_decode, refuses_unknown_groups_and_lengths) {
  prefix_source source(3, 4, 2, 0, random);
  uint8_t out[12] = {};
  vorn_cv res = {};
  res.vorn_cv_vals = out;
  const auto decode = [&](uint8_t group, uint16_t length) {
    source.enc.vorn_enc_ctx_prefix_group = group;
    source.enc.vorn_enc_ctx_prefix_vlen = length;
    return vorn_global_ctx.vorn_prefix_decode_dydi(&res, &source.src, nullptr);
  };
  for (const uint32_t group : {0U, 8U, 15U, 17U, 255U})
    EXPECT_EQ(decode(static_cast<uint8_t>(group), 4), uint32_t{VORN_RESULT_NO_IMPLEMENTATION}) << group;
  for (const uint32_t length : {0U, 9U, 0x0104U, 0x8004U, 0xffffU})
    EXPECT_EQ(decode(16, static_cast<uint16_t>(length)), uint32_t{VORN_RESULT_NO_IMPLEMENTATION}) << length;
  // A prefix longer than a value would make suffixes of negative length.
  static_cast<uint8_t *>(source.src.vorn_cv_vals)[0] = 5;
  EXPECT_EQ(decode(16, 4), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
  EXPECT_TRUE(std::all_of(std::begin(out), std::end(out), [](uint8_t byte) { return byte == 0; }));
  source.src.vorn_cv_nrows = 0;
  EXPECT_EQ(decode(16, 4), uint32_t{VORN_RESULT_DONE});
}

VORN_TEST_ALL_IMPLEMENTATIONS(prefix_decode);

} // namespace
