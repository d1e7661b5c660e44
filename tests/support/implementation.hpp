// Runs a suite once for the generic table and once for each specialised library that this processor can run.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <string>

#include "frame/vorn_specialized.h"
#include "host/stand_in.hpp"

namespace vorn_test {

struct implementation {
  const char *name;
  const char *library;
  uint32_t capability;     // 0 for generic
  const char *folder = ""; // of the library, below library_folder()
};

inline std::ostream &operator<<(std::ostream &out, const implementation &which) { return out << which.name; }

// The AVX-512 library appears twice: with VBMI if the processor has it, and without.
inline constexpr implementation implementations[] = {
    {"generic", "generic", 0},
#ifndef VORN_TEST_GENERIC_ALONE
  #define VORN_TEST_LIBRARY(capability, name) {name, name, capability},
    VORN_SPECIALIZED_LIBRARIES(VORN_TEST_LIBRARY){"svxlavx51219_without_vbmi", "svxlavx51219", 269, "without_vbmi"}
#endif
};

// A build with a sanitizer may leave libraries out.
inline bool is_built(const std::string &library) {
  return std::string(" " VORN_TEST_SPECIALIZED " ").find(' ' + library + ' ') != std::string::npos;
}

inline bool runs_here(const implementation &which) {
  return which.capability == 0 || (is_built(which.library) && vorn_host::processor_has_capability(which.capability));
}

// The libraries are beside the program, or where VORN_TEST_LIBRARIES says: another compiler's pass the same tests.
inline std::filesystem::path library_folder() {
  std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  if (const char *const other = std::getenv("VORN_TEST_LIBRARIES"))
    folder = other;
  return folder;
}

// The record as the process starts with it.
inline const vorn_global_ctx_t initial_global_ctx = vorn_global_ctx;

// Puts an implementation in force and proves it.  Nothing unloads a library, so tests restore the initial record.
inline void put_in_force(const implementation &which, vorn_host::environment &env) {
  vorn_global_ctx = initial_global_ctx;
  vorn_ctx ctx = env.context();
  if (which.capability != 0) {
    vorn_host::set_library_folder(library_folder() / which.folder);
    ctx.vorn_ctx_init_flags = VORN_INIT_SPECIALIZED;
    ctx.vorn_ctx_lib_name = which.library;
  }
  vorn_nfy(VORN_NFY_LOAD, &ctx);
  vorn_host::set_library_folder({});
  ASSERT_STREQ(vorn_global_ctx.vorn_global_ctx_lib_name, which.library);
  ASSERT_EQ(vorn_global_ctx.vorn_global_ctx_status,
            which.capability == 0 ? uint32_t{VORN_STATUS_GENERIC} : uint32_t{VORN_STATUS_SPECIALIZED});
  ASSERT_EQ(vorn_global_ctx.vorn_global_ctx_dispatch == vorn_dispatch_table, which.capability == 0);
  if (which.capability == 0)
    return;
  Dl_info file = {};
  ASSERT_NE(dladdr(vorn_global_ctx.vorn_global_ctx_dispatch, &file), 0);
  ASSERT_TRUE(
      std::filesystem::equivalent(std::filesystem::path(file.dli_fname).parent_path(), library_folder() / which.folder))
      << "not the library of this name";
}

class implementation_test : public testing::TestWithParam<implementation> {
protected:
  void SetUp() override {
    if (!runs_here(GetParam()))
      GTEST_SKIP() << GetParam().name
                   << (is_built(GetParam().library) ? " needs instructions that this processor lacks"
                                                    : " is not a part of this build");
    ASSERT_NO_FATAL_FAILURE(put_in_force(GetParam(), env));
  }
  void TearDown() override { vorn_global_ctx = initial_global_ctx; }

  vorn_host::environment env;
};

inline std::string implementation_name(const testing::TestParamInfo<implementation> &info) { return info.param.name; }

#define VORN_TEST_ALL_IMPLEMENTATIONS(suite)                                                                           \
  INSTANTIATE_TEST_SUITE_P(each, suite, testing::ValuesIn(vorn_test::implementations), vorn_test::implementation_name)

} // namespace vorn_test
