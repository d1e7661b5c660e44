// Services of the process: clock, capabilities, loading, comparison of bit vectors, and the hash function.
#include "host/hash.h"
#include "host/stand_in.hpp"

#include <array>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>

using namespace vorn_host;

namespace {

// Status and answer of a capability query over a record that held something else.
std::pair<uint32_t, std::array<uint32_t, 3>> query(uint32_t code) {
  std::array<uint32_t, 3> answer = {9, 9, 9};
  const uint32_t status = cpucap_query(code, answer.data());
  return {status, {answer[0], 0, answer[2]}};
}

bool present(uint32_t code) { return query(code) == std::pair(0u, std::array{0u, 0u, 1u}); }

} // namespace

TEST(Clock, RunsIsFixedAndFollowsAScript) {
  const uint64_t before = host_clock_time64();
  EXPECT_GE(host_clock_time64(), before);
  set_clock(7);
  EXPECT_EQ(host_clock_time64(), 7u);
  script_clock({5, 9});
  for (const uint64_t time : {5u, 9u, 9u})
    EXPECT_EQ(host_clock_time64(), time);
  set_clock(std::nullopt);
  EXPECT_GE(host_clock_time64(), before);
}

#ifdef __x86_64__
TEST(Capabilities, AgreeWithTheCompilersView) {
  EXPECT_EQ(processor_has_capability(258), __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("popcnt"));
  EXPECT_EQ(processor_has_capability(259), __builtin_cpu_supports("avx") != 0);
  EXPECT_EQ(processor_has_capability(267),
            __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma"));
  EXPECT_EQ(processor_has_capability(269), __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw") &&
                                               __builtin_cpu_supports("avx512dq") &&
                                               __builtin_cpu_supports("avx512cd"));
}
#endif

// A folder with every combination of libraries.
TEST(Capabilities, NeedALibraryThatIsThere) {
  const std::vector<std::pair<uint32_t, std::string>> levels = {
      {269, "svxlavx51219"}, {267, "svxlavx219"}, {259, "svxlavx19"}, {258, "svxlsse4219"}};
  const auto folder = std::filesystem::path(testing::TempDir()) / "vorn_some_libraries";
  set_library_folder(folder);
  for (unsigned files = 0; files < 1U << levels.size(); ++files) {
    std::vector<std::string> messages;
    on_missing_library([&](const std::string &message) { messages.push_back(message); });
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    for (size_t i = 0; i < levels.size(); ++i)
      if (files >> i & 1)
        std::ofstream(folder / (levels[i].second + ".so")) << "a file";
    std::string missing, best;
    for (size_t i = 0; i < levels.size(); ++i) {
      const auto &[code, library] = levels[i];
      const bool can = processor_has_capability(code), there = files >> i & 1;
      EXPECT_EQ(present(code), can && there) << library << ' ' << files;
      if (can && !there && missing.empty())
        missing = library;
      if (can && there && best.empty())
        best = library;
    }
    std::vector<std::string> expected;
    if (!missing.empty())
      expected.push_back(missing.append(".so is not in ")
                             .append(folder.string())
                             .append(best.empty() ? ", and no library of a lower level is there"
                                                  : best.insert(0, "; the best library there is ")));
    EXPECT_EQ(messages, expected) << files;
  }
  std::filesystem::remove_all(folder);
  set_library_folder({});
  on_missing_library(nullptr);
}

TEST(Capabilities, OverridesAndUnknownCodes) {
  for (const bool answer : {true, false}) {
    override_capability(269, answer);
    EXPECT_EQ(query(269), std::pair(0u, (std::array{0u, 0u, uint32_t{answer}})));
  }
  override_capability(269, std::nullopt);
  const auto unknown = query(1);
  EXPECT_NE(unknown.first, 0u);
  EXPECT_EQ(unknown.second, (std::array{0u, 0u, 0u}));
  override_capability(1, true);
  EXPECT_TRUE(present(1));
  override_capability(1, std::nullopt);
  EXPECT_NE(query(1).first, 0u);
}

class Loading : public testing::Test {
protected:
  ~Loading() override { set_library_folder({}); }

  bool load(const char *name) {
    handle = &env; // to be overwritten, also on failure
    const bool loaded = svorn_dlopen(&ctx, name, &handle) != 0;
    EXPECT_EQ(loaded, handle != nullptr);
    EXPECT_EQ(loaded, env.load_error().empty());
    return loaded;
  }

  environment env;
  vorn_ctx ctx = env.context();
  void *handle = nullptr;
};

TEST_F(Loading, FindsALibraryWhoseServicesAreThoseOfTheProcess) {
  env.record = true;
  for (const char *name : {"host_module_beside", "host_module_installed"}) {
    ASSERT_TRUE(load(name)) << env.load_error();
    auto *time = reinterpret_cast<uint64_t (*)()>(svorn_dlsym(&ctx, handle, "module_time"));
    ASSERT_NE(time, nullptr) << env.load_error();
    set_clock(1234);
    EXPECT_EQ(time(), 1234u);
    set_clock(std::nullopt);
  }
  EXPECT_EQ(svorn_dlsym(&ctx, handle, "no_such_symbol"), nullptr);
  EXPECT_NE(env.load_error().find("no_such_symbol"), std::string::npos);
  EXPECT_EQ(svorn_dlsym(&ctx, nullptr, "host_clock_time64"), nullptr) << "found outside of any library";
  const auto transcript = env.transcript();
  EXPECT_EQ(transcript.front(), R"(svorn_dlopen "host_module_beside" 1)");
  EXPECT_EQ(transcript.back(), R"(svorn_dlsym "host_clock_time64" 0)");
}

TEST_F(Loading, FailsForMissingFilesAndNamesThatArePaths) {
  EXPECT_FALSE(load("svxlnothing"));
  EXPECT_NE(env.load_error().find("svxlnothing.so"), std::string::npos);
  EXPECT_FALSE(load(""));
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  EXPECT_FALSE(load((folder / "host_module_beside").c_str()));
  set_library_folder(testing::TempDir());
  EXPECT_FALSE(load("host_module_beside")) << "looked outside of the folder";
  set_library_folder(folder / "vorn");
  EXPECT_TRUE(load("host_module_installed")) << env.load_error();
}

TEST(Compare, LooksAtTheFirstBitsAndNoOthers) {
  for (const uint32_t nrows : {0u, 1u, 7u, 63u, 64u, 65u, 127u, 128u, 200u}) {
    std::array<uint64_t, 5> a{}, b{};
    EXPECT_NE(vornt_compare_res(0, a.data(), b.data(), nrows), 0u);
    for (uint32_t bit = 0; bit < 320; ++bit) {
      b[bit / 64] ^= uint64_t{1} << bit % 64;
      EXPECT_EQ(vornt_compare_res(0, a.data(), b.data(), nrows) != 0, bit >= nrows) << nrows << ' ' << bit;
      b[bit / 64] = 0;
    }
  }
}

TEST(Hash, DependsOnBytesLengthAndSeedAlone) {
  std::array<uint8_t, 301> bytes{};
  for (size_t at = 0; at < bytes.size(); ++at)
    bytes[at] = static_cast<uint8_t>(at * 37);
  const vorn_hashfn hash = vorn_host_hash;
  for (const uint64_t length : {0u, 1u, 4u, 8u, 16u, 100u, 300u}) {
    auto shifted = bytes;
    std::memcpy(shifted.data() + 1, bytes.data(), length);
    EXPECT_EQ(hash(bytes.data(), length, 3), hash(shifted.data() + 1, length, 3)) << length;
    EXPECT_NE(hash(bytes.data(), length, 3), hash(bytes.data(), length, 4)) << length;
    EXPECT_NE(hash(bytes.data(), length, 3), hash(bytes.data(), length + 1, 3)) << length;
  }
  // Stored data may hold hashes, so the function must never change.
  EXPECT_EQ(hash(nullptr, 0, 0), 0x2d06800538d394c2u);
}
