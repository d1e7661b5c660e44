// Runs tests of the kernels on the input of a fuzzer.  The input selects the test and the implementation, and replaces
// the random choices of the test.
//
//   vorn_fuzz_kernels --tests=engines.sets:sets_test.agree_with_the_model [options of libFuzzer] [folder of inputs...]
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/crash_at_failure.hpp"
#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"

namespace {

// The named tests, on each implementation that this processor runs.
std::vector<std::string> runnable;

bool runs_here(const std::string &test) {
  return std::ranges::any_of(vorn_test::implementations, [&](const vorn_test::implementation &which) {
    return test.ends_with(std::string("/") + which.name) && vorn_test::runs_here(which);
  });
}

} // namespace

// A test of an implementation is named each/SUITE.TEST/IMPLEMENTATION.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  const std::string option = "--tests=";
  std::string named;
  for (int i = 1; i < *argc; ++i)
    if (const std::string argument = (*argv)[i]; argument.starts_with(option))
      named = ":" + argument.substr(option.size()) + ":";
  testing::InitGoogleTest();
  testing::UnitTest &all = *testing::UnitTest::GetInstance();
  for (int s = 0; s < all.total_test_suite_count(); ++s)
    for (int t = 0; t < all.GetTestSuite(s)->total_test_count(); ++t) {
      std::string suite = all.GetTestSuite(s)->name();
      const std::string test = all.GetTestSuite(s)->GetTestInfo(t)->name();
      const std::string name = suite.substr(suite.find('/') + 1) + "." + test.substr(0, test.find('/'));
      if (named.find(":" + name + ":") != std::string::npos && runs_here(test))
        runnable.push_back(suite.append(".").append(test));
    }
  if (runnable.empty()) {
    std::fprintf(stderr, "no test that runs here is among '%s'\n", named.c_str());
    std::exit(2);
  }
  vorn_fuzz::crash_at_failure::install();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  vorn_test::chosen.make_by({bytes, size});
  GTEST_FLAG_SET(filter, runnable[vorn_test::chosen.next(runnable.size())]);
  return RUN_ALL_TESTS();
}
