// A failed expectation of GoogleTest ends the process, so that a fuzzer keeps its input.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace vorn_fuzz {

struct crash_at_failure : testing::EmptyTestEventListener {
  static void install() {
    testing::TestEventListeners &listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new crash_at_failure);
  }
  void OnTestPartResult(const testing::TestPartResult &result) override {
    if (!result.failed())
      return;
    std::fprintf(stderr, "%s: %s\n", GTEST_FLAG_GET(filter).c_str(), result.message());
    std::abort();
  }
};

} // namespace vorn_fuzz
