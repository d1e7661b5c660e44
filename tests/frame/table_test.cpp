// The tables that the library exports for its host, and the predicate codes of the sibling module.
#include <gtest/gtest.h>

#include <array>

#include "frame/vorn.h"

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
  static_assert(sizeof vorn_scan_dict == sizeof scan && sizeof vorn_proj_dict == sizeof proj);
}

TEST(costs, single_numbers) {
  EXPECT_EQ(vorn_proj_dynp, 154);
  EXPECT_EQ(vorn_burst_rle, 6.75);
}

TEST(byte_popc, counts_the_bits_of_every_byte) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    unsigned ones = 0;
    for (unsigned bit = 0; bit < 8; ++bit)
      ones += byte >> bit & 1;
    EXPECT_EQ(vorn_byte_popc[byte], ones) << byte;
  }
}

TEST(rowz_codes, all_256) {
  std::array<uint32_t, 256> opcodes;
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
