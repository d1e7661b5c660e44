// Runs the readers of the reference host on the input of a fuzzer, with the kernels that the input selects.
//
//   vorn_fuzz_store --target=values [options of libFuzzer] [folder of inputs...]
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/crash_at_failure.hpp"
#include "fuzz/store/targets.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace vorn_fuzz;

constexpr std::pair<const char *, void (*)(input &)> targets[] = {
    {"arrow", arrow},           {"blocks", blocks}, {"csv", csv}, {"plans", plans}, {"saved", vorn_fuzz::saved},
    {"statements", statements}, {"values", values},
};
void (*chosen)(input &) = nullptr;

struct surroundings {
  surroundings() { ctx.vorn_ctx_decompress = vorn_qpak_decode; }

  vorn_host::environment env;
  vorn_ctx ctx = env.context();
};
std::optional<surroundings> of_run;

surroundings &lasting() {
  static surroundings made;
  return made;
}

std::vector<vorn_global_ctx_t> implementations; // as they are in force

} // namespace

const vorn_ctx &vorn_fuzz::context() { return of_run->ctx; }
const vorn_ctx &vorn_fuzz::lasting_context() { return lasting().ctx; }

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  for (int i = 1; i < *argc; ++i)
    for (const auto &[name, run] : targets)
      if ((*argv)[i] == std::string("--target=") + name)
        chosen = run;
  if (chosen == nullptr) {
    std::fputs("--target= one of", stderr);
    for (const auto &[name, run] : targets)
      std::fprintf(stderr, " %s", name);
    std::fputs("\n", stderr);
    std::exit(2);
  }
  testing::InitGoogleTest();
  crash_at_failure::install();
  for (const vorn_test::implementation &which : vorn_test::implementations)
    if (vorn_test::runs_here(which)) {
      vorn_test::put_in_force(which, lasting().env);
      implementations.push_back(vorn_global_ctx);
    }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  input from(bytes, size);
  vorn_global_ctx = implementations[from.ConsumeIntegralInRange<size_t>(0, implementations.size() - 1)];
  of_run.emplace();
  chosen(from);
  of_run.reset();
  return 0;
}
