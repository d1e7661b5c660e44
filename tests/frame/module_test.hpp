// A fixture for loads of the small specialised libraries that are built for the tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "tests/frame/services.hpp"
#include "tests/support/implementation.hpp"

namespace frame_test {

class module_test : public testing::Test {
protected:
  void SetUp() override {
    vorn_host::set_library_folder(FRAME_TEST_MODULES);
    env.record = true;
    env.on_error = vorn_host::error_policy::resume;
    restart();
  }
  void TearDown() override {
    vorn_host::set_library_folder({});
    vorn_global_ctx = vorn_test::initial_global_ctx;
  }

  // As a fresh process would be, but for the hooks of a test.
  void restart() {
    vorn_global_ctx = vorn_test::initial_global_ctx;
    env.clear_calls();
    env.clear_errors();
  }

  vorn_host::environment env;
  vorn_ctx ctx = env.context();
};

} // namespace frame_test
