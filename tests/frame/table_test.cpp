// Tables and names for the host: names for diagnostics, the dump of the statistics, tables of costs, the predicate
// codes of the sibling module.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <iterator>
#include <set>
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
  std::istringstream words("eq lt gt le ge ne gt_lt gt_le ge_lt ge_le decode decode_unpack decode_symbol set burst sum "
                           "distinct xlate bloom add sub mul");
  std::string text;
  for (uint32_t opc = 0; opc < 40; ++opc) {
    if (!(words >> text))
      text = "E^R^R^O^R";
    for (const uint32_t enc : {0U, 1U, 2U, 4U, UINT32_MAX})
      EXPECT_EQ(vorn_overload_opc_name(opc, enc), text) << opc << ' ' << enc;
    EXPECT_STREQ(vorn_overload_opc_name(opc, 3), opc == 14 ? "burst" : "E^R^R^O^R") << opc;
  }
  for (const uint32_t opc : {270U, UINT32_MAX})
    EXPECT_STREQ(vorn_overload_opc_name(opc, 1), "E^R^R^O^R") << opc;
}

TEST(names, flags_and_encodings) {
  const char *const flags[] = {"Yo", "flag1", nullptr};
  const char *const encodings[] = {"fixed", "dict", "dynp", "rle", nullptr};
  for (uint32_t flag = 0; flag < 3; ++flag)
    EXPECT_STREQ(vorn_flag_name(flag), flags[flag]);
  for (uint32_t enc = 0; enc < 5; ++enc)
    EXPECT_STREQ(vorn_enc_name(enc), encodings[enc]);
  EXPECT_EQ(vorn_flag_name(UINT32_MAX), nullptr);
  EXPECT_EQ(vorn_enc_name(UINT32_MAX), nullptr);
}

TEST(names, every_result_code_has_a_text_of_its_own) {
  std::set<std::string> texts;
  for (const uint32_t code : {0U, 1U, 2U, 3U, 5U, 6U, 7U, 8U, 9U, 10U})
    EXPECT_TRUE(texts.insert(vorn_result_text(code)).second) << code;
  for (const uint32_t code : {4U, 11U, UINT32_MAX})
    EXPECT_STREQ(vorn_result_text(code), "unknown result code") << code;
  EXPECT_FALSE(texts.contains("unknown result code"));
}

TEST(version, of_the_library_and_its_records) {
  constexpr uint32_t version = VORN_VERSION_MAJOR * 10000 + VORN_VERSION_MINOR * 100 + VORN_VERSION_PATCH;
  EXPECT_EQ(vorn_version(), version);
  const uint64_t sizes[] = {96, 160, 112, 112, 32, 32, 40, 80, 56, 144, 536};
  for (uint32_t record = 0; record < std::size(sizes); ++record)
    EXPECT_EQ(vorn_record_size(record), sizes[record]) << record;
  for (const uint32_t none : {11U, UINT32_MAX})
    EXPECT_EQ(vorn_record_size(none), 0U) << none;
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

// Every slot has its own count, so the order is visible in the lines.
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

TEST(costs, by_class_of_width) {
  const struct {
    const double *costs;
    double upto_16, upto_32, upto_64;
  } tables[] = {{vorn_scan_fixed, 0.4, 0.8, 1.99}, {vorn_scan_dynp, 0.4, 1.24, 2.3}, {vorn_proj_fixed, 85, 95, 98}};
  for (const auto &[costs, upto_16, upto_32, upto_64] : tables)
    for (unsigned width = 0; width <= 64; ++width)
      EXPECT_EQ(costs[width], width <= 16 ? upto_16 : width <= 32 ? upto_32 : upto_64) << width;
  static_assert(sizeof vorn_scan_fixed == 65 * 8 && sizeof vorn_scan_dynp == 65 * 8 &&
                sizeof vorn_proj_fixed == 65 * 8);
}

TEST(costs, by_width_of_a_code) {
  const double scan[33] = {0.29, 0.29, 0.29, 0.29, 0.2,  0.29, 0.29, 0.31, 0.2,  0.38, 0.37,
                           0.37, 0.39, 0.39, 0.39, 0.39, 0.39, 0.65, 0.66, 0.7,  0.7,  0.76,
                           0.76, 0.76, 0.76, 0.76, 0.76, 0.76, 0.76, 0.76, 0.76, 0.76, 0.76};
  const double proj[33] = {89, 89, 89,  89,  89,  96,  93,  99,  99,  97,  91,  94,  89,  98,  92,  98, 95,
                           96, 98, 106, 110, 116, 116, 116, 116, 116, 116, 116, 116, 116, 116, 116, 116};
  for (unsigned width = 0; width <= 32; ++width) {
    EXPECT_EQ(vorn_scan_dict[width], scan[width]) << width;
    EXPECT_EQ(vorn_proj_dict[width], proj[width]) << width;
  }
  EXPECT_EQ(vorn_proj_dynp, 154);
  EXPECT_EQ(vorn_burst_rle, 6.75);
  static_assert(sizeof vorn_scan_dict == sizeof scan && sizeof vorn_proj_dict == sizeof proj);
}

TEST(rowz_codes, all_256) {
  std::array<uint32_t, 256> opcodes = {};
  opcodes.fill(22);
  const struct {
    unsigned first, second;
    uint32_t opcode;
  } pairs[] = {{0, 14, 2}, {1, 15, 1},  {2, 16, 4},  {3, 17, 3},  {4, 18, 0},
               {5, 19, 5}, {28, 32, 9}, {29, 33, 7}, {30, 34, 8}, {31, 35, 6}};
  for (const auto &[first, second, opcode] : pairs)
    opcodes[first] = opcodes[second] = opcode;
  for (unsigned code = 0; code < 256; ++code)
    EXPECT_EQ(vorn_convert_rowz_pcode(static_cast<uint8_t>(code)), opcodes[code]) << code;
}

TEST(tables_by_byte, ones_and_the_bytes_of_the_values_of_a_length_byte) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(vorn_byte_popc[byte], std::popcount(byte)) << byte;
    EXPECT_EQ(vorn_length_consumed_dynp_8bit_idx_maxwidth2[byte], 8 + std::popcount(byte)) << byte;
    EXPECT_EQ(vorn_length_consumed_dynp_8bit_idx_maxwidth4[byte],
              4 + (byte >> 6) + (byte >> 4 & 3) + (byte >> 2 & 3) + (byte & 3))
        << byte;
    const unsigned high = byte >> 4, low = byte & 15;
    EXPECT_EQ(vorn_length_consumed_dynp_8bit_idx_maxwidth8[byte], std::max(high, low) > 7 ? 16 : high + low + 2)
        << byte;
  }
}
