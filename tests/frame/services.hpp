// Answers of host services that the stand-in host never gives: half-true capabilities, half-opened libraries.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

namespace frame_test {

struct capability_answer {
  uint32_t result;
  std::array<uint32_t, 3> words;
};

struct open_answer {
  uint32_t result;
  void *handle;
};

// Where there is no script, the stand-in host answers.
struct scripted_services {
  std::map<uint32_t, capability_answer> capabilities;
  std::optional<open_answer> open;
};

inline scripted_services scripts;

} // namespace frame_test
