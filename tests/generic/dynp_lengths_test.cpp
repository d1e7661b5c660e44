// The exported length tables, entry by entry.
#include "frame/vorn.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

TEST(dynp_lengths, tables_give_the_value_bytes_of_a_length_byte) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(vorn_length_consumed_dynp_8bit_idx_maxwidth2[byte], 8 + std::popcount(byte)) << byte;
    EXPECT_EQ(vorn_length_consumed_dynp_8bit_idx_maxwidth4[byte],
              4 + (byte >> 6) + (byte >> 4 & 3) + (byte >> 2 & 3) + (byte & 3))
        << byte;
    const unsigned high = byte >> 4, low = byte & 15;
    EXPECT_EQ(vorn_length_consumed_dynp_8bit_idx_maxwidth8[byte], std::max(high, low) > 7 ? 16 : high + low + 2)
        << byte;
  }
}
