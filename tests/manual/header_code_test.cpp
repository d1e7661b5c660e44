// The code in the comments of vorn.h compiles as C and does what the header says.
#include "tests/manual/header_code.h"

#include "tests/support/implementation.hpp"

namespace {

TEST(header_code_test, does_what_the_header_says) {
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  EXPECT_EQ(first_scan(&ctx), 0x9aU);

  // The best library is loaded by name elsewhere; here no library can be run.
#define VORN_TEST_LACKS(code, name) vorn_host::override_capability(code, false);
  VORN_SPECIALIZED_LIBRARIES(VORN_TEST_LACKS)
  alignas(8) uint8_t stream[16] = {3, 10, 1, 7, 9, 5, 0, 12};
  uint32_t bounds[] = {5, 9};
  uint8_t codes[8] = {};
  ASSERT_EQ(codes_between(ctx, stream, 8, bounds, codes, 8), 3U);
  EXPECT_EQ(codes[0] << 16 | codes[1] << 8 | codes[2], 0x070905);
#define VORN_TEST_ANSWERS(code, name) vorn_host::override_capability(code, std::nullopt);
  VORN_SPECIALIZED_LIBRARIES(VORN_TEST_ANSWERS)
}

} // namespace
