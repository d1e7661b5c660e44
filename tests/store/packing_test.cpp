// Packed codes against the definition of the stream, one bit at a time.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "store/encode/packing.hpp"
#include "store/error.hpp"
#include "tests/model/predicate.hpp"

namespace {

using namespace store;

constexpr uint32_t legal_widths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32};

constexpr size_t row_counts[] = {0, 1, 2, 7, 8, 9, 63, 64, 65, 1000};

TEST(packing, follows_the_bit_string_at_every_width_and_length) {
  std::mt19937 random(20);
  for (uint32_t width : legal_widths)
    for (size_t rows : row_counts) {
      SCOPED_TRACE(testing::Message() << "width " << width << ", rows " << rows);
      std::vector<uint32_t> codes(rows);
      for (uint32_t &code : codes)
        code = static_cast<uint32_t>(random() & ((uint64_t{1} << width) - 1));
      const vorn_host::aligned_vector<uint8_t> stored = packed(codes, width);

      ASSERT_EQ(stored.size(), (rows * width + 7) / 8 + 64);
      const uint8_t *stream = stored.data();
      ASSERT_EQ(reinterpret_cast<uintptr_t>(stream) % 64, 0U);
      for (size_t row = 0; row < rows; ++row)
        ASSERT_EQ(vorn_model::code_at(stream, width, row), codes[row]) << "row " << row;
      // The rest of the last byte and the slack after it.
      for (uint64_t i = rows * width; i < stored.size() * 8; ++i)
        ASSERT_EQ(vorn_model::code_at(stream, 1, i), 0U) << "bit " << i;
    }
}

TEST(packing, takes_the_least_width_that_has_kernels) {
  EXPECT_EQ(least_width(0), 1U);
  EXPECT_EQ(least_width(1), 1U);
  uint32_t narrower = 0;
  for (uint32_t width : legal_widths) {
    EXPECT_EQ(least_width(uint64_t{1} << width), width);
    if (narrower != 0) {
      EXPECT_EQ(least_width((uint64_t{1} << narrower) + 1), width);
    }
    narrower = width;
  }
  EXPECT_THROW(least_width((uint64_t{1} << 32) + 1), error);
}

} // namespace
