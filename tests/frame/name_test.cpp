// Names for diagnostics, and the dump of the statistics.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "frame/vorn.h"

namespace {

struct statistics {
  statistics() : counts(8192), rates(8192) {
    ctx.vorn_ctx_call_counts = counts.data();
    ctx.vorn_ctx_rates = rates.data();
  }

  std::string dump(uint32_t only_called) const {
    testing::internal::CaptureStdout();
    vorn_stats_dump(&ctx, only_called);
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
  }

  std::vector<uint32_t> counts;
  std::vector<double> rates;
  vorn_ctx ctx = {};
};

} // namespace

TEST(names, opcodes) {
  const char *const texts[] = {"eq",
                               "lt",
                               "gt",
                               "le",
                               "ge",
                               "ne",
                               "gt_lt",
                               "gt_le",
                               "ge_lt",
                               "ge_le",
                               "decode",
                               "decode_unpack",
                               "decode_symbol",
                               "set",
                               "burst",
                               "sum",
                               "distinct",
                               "xlate",
                               "bloom",
                               "add",
                               "sub",
                               "mul"};
  ASSERT_EQ(std::size(texts), 22U);
  for (const uint32_t enc : {0U, 1U, 2U, 4U, UINT32_MAX}) {
    for (uint32_t opc = 0; opc < 22; ++opc)
      EXPECT_STREQ(vorn_overload_opc_name(opc, enc), texts[opc]) << opc << ' ' << enc;
    for (const uint32_t opc : {22U, 31U, 32U, 270U, UINT32_MAX})
      EXPECT_STREQ(vorn_overload_opc_name(opc, enc), "E^R^R^O^R") << opc << ' ' << enc;
  }
  for (uint32_t opc = 0; opc < 40; ++opc)
    EXPECT_STREQ(vorn_overload_opc_name(opc, 3), opc == 14 ? "burst" : "E^R^R^O^R") << opc;
}

TEST(names, flags_and_encodings) {
  EXPECT_STREQ(vorn_flag_name(0), "Yo");
  EXPECT_STREQ(vorn_flag_name(1), "flag1");
  EXPECT_EQ(vorn_flag_name(2), nullptr);
  EXPECT_EQ(vorn_flag_name(UINT32_MAX), nullptr);
  EXPECT_STREQ(vorn_enc_name(0), "fixed");
  EXPECT_STREQ(vorn_enc_name(1), "dict");
  EXPECT_STREQ(vorn_enc_name(2), "dynp");
  EXPECT_STREQ(vorn_enc_name(3), "rle");
  EXPECT_EQ(vorn_enc_name(4), nullptr);
  EXPECT_EQ(vorn_enc_name(UINT32_MAX), nullptr);
}

TEST(stats_dump, of_the_called_slots) {
  statistics stats;
  EXPECT_EQ(stats.dump(1), "");
  stats.counts[0x15a0] = 1;
  stats.rates[0x15a0] = 1234.6;
  stats.counts[0x03b0] = 2000000000;
  stats.rates[0x03b0] = 0.4;
  stats.counts[0x1ca1] = 7;
  stats.rates[0x1ca1] = 1e6;
  stats.counts[0x1fff] = 3;
  stats.rates[0x0020] = 5; // not called
  EXPECT_EQ(stats.dump(256), "vorn_distinct_dict_8bit       Call Freq: 2000000000\tMrowsPerSec: 0\n"
                             "vorn_eq_dict_12bit_null       Call Freq: 1\tMrowsPerSec: 1235\n"
                             "vorn_invalid_dispatch         Call Freq: 7\tMrowsPerSec: 1000000\n"
                             "vorn_invalid_dispatch         Call Freq: 3\tMrowsPerSec: 0\n");
}

// Every slot is told by its count, so that the order can be read from the lines.
TEST(stats_dump, walks_all_slots_by_flag_encoding_opcode_and_width) {
  statistics stats;
  for (uint32_t slot = 0; slot < 8192; ++slot) {
    stats.counts[slot] = slot;
    stats.rates[slot] = slot + 0.25;
  }
  std::istringstream lines(stats.dump(0));
  std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> last;
  size_t nlines = 0;
  for (std::string line; std::getline(lines, line); ++nlines) {
    const size_t count = line.find("Call Freq: ");
    ASSERT_NE(count, std::string::npos) << line;
    const auto slot = static_cast<uint32_t>(std::stoul(line.substr(count + 11)));
    ASSERT_LT(slot, 8192U);
    char expected[128];
    std::snprintf(expected, sizeof expected, "%-30sCall Freq: %u\tMrowsPerSec: %u", vorn_dispatch_func_names[slot],
                  slot, slot);
    ASSERT_EQ(line, expected);
    const std::tuple place{slot >> 12, slot >> 5 & 3, slot & 31, slot >> 7 & 31};
    if (nlines != 0) {
      ASSERT_GT(place, last) << line;
    }
    last = place;
  }
  EXPECT_EQ(nlines, 8192U);
}
