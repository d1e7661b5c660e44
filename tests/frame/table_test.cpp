// Tables and names for the host: names for diagnostics, the dump of the statistics, tables of costs, the predicate
// codes of the sibling module.  golden/tables.txt has what they say.
#include <bit>
#include <cstdio>
#include <set>
#include <tuple>

#include "frame/vorn.h"
#include "tests/support/golden.hpp"

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

TEST(tables, say_what_is_recorded) {
  using vorn_test::numbers_to, vorn_test::table_of;
  vorn_test::lines found;
  for (const uint32_t encoding : numbers_to(4, {UINT32_MAX}))
    found.push_back(table_of("opcodes with encoding " + std::to_string(encoding), numbers_to(39, {270, UINT32_MAX}),
                             [&](uint32_t opcode) { return vorn_overload_opc_name(opcode, encoding); }));
  const auto table = [&](const char *name, uint32_t last, auto value) {
    found.push_back(table_of(name, numbers_to(last, {UINT32_MAX}), value));
  };
  table("flags", 2, vorn_flag_name);
  table("encodings", 4, vorn_enc_name);
  table("width codes", 31, vorn_datawidth_name);
  table("results", 11, vorn_result_text);
  table("sizes of records", 11, vorn_record_size);
  const auto costs = [&](const char *name, const auto &by_width) {
    found.push_back(
        table_of(name, numbers_to(std::size(by_width) - 1), [&](uint32_t width) { return by_width[width]; }));
  };
  costs("vorn_scan_fixed", vorn_scan_fixed);
  costs("vorn_scan_dynp", vorn_scan_dynp);
  costs("vorn_scan_dict", vorn_scan_dict);
  costs("vorn_proj_fixed", vorn_proj_fixed);
  costs("vorn_proj_dict", vorn_proj_dict);
  costs("vorn_proj_dynp and vorn_burst_rle", std::array{vorn_proj_dynp, vorn_burst_rle});
  found.push_back(table_of("predicate codes", numbers_to(255),
                           [](uint32_t code) { return vorn_convert_rowz_pcode(static_cast<uint8_t>(code)); }));
  vorn_test::expect_golden(VORN_GOLDEN "/tables.txt", found);
}

TEST(version, of_the_library) {
  constexpr uint32_t version = VORN_VERSION_MAJOR * 10000 + VORN_VERSION_MINOR * 100 + VORN_VERSION_PATCH;
  EXPECT_EQ(vorn_version(), version);
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
