// Capabilities: the levels that the processor runs and that have a specialised library.
#include "host/state.hpp"

#include <cstdio>
#include <cstring>
#include <utility>
#ifdef __x86_64__
  #include <cpuid.h>
#endif

namespace vorn_host {

namespace {

enum class level { baseline, sse42, avx, avx2, avx512 };

struct known_code {
  uint32_t code;
  level needs;
  const char *library;
};
// The best first.
constexpr known_code known_codes[] = {{269, level::avx512, "svxlavx51219"},
                                      {267, level::avx2, "svxlavx219"},
                                      {259, level::avx, "svxlavx19"},
                                      {258, level::sse42, "svxlsse4219"}};

#ifdef __x86_64__

constexpr uint32_t bits(std::initializer_list<int> positions) {
  uint32_t mask = 0;
  for (const int position : positions)
    mask |= uint32_t{1} << position;
  return mask;
}

// Feature bits of each level by cpuid word.  A level also needs the bits of all levels before it.
constexpr uint32_t sse42_leaf1_ecx = bits({0, 9, 13, 19, 20, 23}); // SSE3, SSSE3, CMPXCHG16B, SSE4.1, SSE4.2, POPCNT
constexpr uint32_t sse42_extended_ecx = bits({0});                 // LAHF
constexpr uint32_t avx_leaf1_ecx = bits({27, 28});                 // OSXSAVE, AVX
constexpr uint32_t avx_xcr0 = bits({1, 2});                        // the system saves XMM, YMM
constexpr uint32_t avx2_leaf1_ecx = bits({12, 22, 29});            // FMA, MOVBE, F16C
constexpr uint32_t avx2_leaf7_ebx = bits({3, 5, 8});               // BMI1, AVX2, BMI2
constexpr uint32_t avx2_extended_ecx = bits({5});                  // LZCNT
constexpr uint32_t avx512_leaf7_ebx = bits({16, 17, 28, 30, 31});  // F, DQ, CD, BW, VL
constexpr uint32_t avx512_xcr0 = bits({5, 6, 7});                  // the system saves mask registers and ZMM

constexpr bool has(uint32_t word, uint32_t mask) { return (word & mask) == mask; }

// The states that the operating system saves.  The instruction exists only with OSXSAVE.
uint32_t saved_states() {
  uint32_t low, high;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

level detect() {
  uint32_t eax, ebx, ecx, edx;
  uint32_t leaf1_ecx = 0, leaf7_ebx = 0, extended_ecx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx))
    leaf1_ecx = ecx;
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx))
    leaf7_ebx = ebx;
  if (__get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx))
    extended_ecx = ecx;

  if (!has(leaf1_ecx, sse42_leaf1_ecx) || !has(extended_ecx, sse42_extended_ecx))
    return level::baseline;
  if (!has(leaf1_ecx, avx_leaf1_ecx))
    return level::sse42;
  const uint32_t xcr0 = saved_states();
  if (!has(xcr0, avx_xcr0))
    return level::sse42;
  if (!has(leaf1_ecx, avx2_leaf1_ecx) || !has(leaf7_ebx, avx2_leaf7_ebx) || !has(extended_ecx, avx2_extended_ecx))
    return level::avx;
  if (!has(leaf7_ebx, avx512_leaf7_ebx) || !has(xcr0, avx512_xcr0))
    return level::avx2;
  return level::avx512;
}

#else

level detect() { return level::baseline; }

#endif

bool processor_has(const known_code &known) {
  static const level processor = detect();
  return processor >= known.needs;
}

std::mutex guard;
std::map<uint32_t, bool> overrides;
std::function<void(const std::string &)> report; // empty: standard error
bool reported = false;

void report_missing(const known_code &missing) {
  std::string rest = ", and no library of a lower level is there";
  for (const known_code &known : known_codes)
    if (processor_has(known) && library_file(known.library)) {
      rest = "; the best library there is " + std::string(known.library);
      break;
    }
  std::string folders;
  for (const std::filesystem::path &folder : library_folders())
    folders += (folders.empty() ? "" : ", ") + folder.string();
  const std::string message = std::string(missing.library) + ".so is not in " + folders + rest;
  std::function<void(const std::string &)> take;
  {
    const std::lock_guard lock(guard);
    if (std::exchange(reported, true))
      return;
    take = report;
  }
  if (take)
    take(message);
  else
    std::fprintf(stderr, "vorn: %s\n", message.c_str());
}

// The library loads the best level that is confirmed, and a level without its library would end the load.
std::optional<bool> can_be_loaded(uint32_t code) {
  for (const known_code &known : known_codes)
    if (known.code == code) {
      if (!processor_has(known))
        return false;
      if (library_file(known.library))
        return true;
      report_missing(known);
      return false;
    }
  return std::nullopt;
}

std::optional<bool> overridden(uint32_t code) {
  const std::lock_guard lock(guard);
  const auto entry = overrides.find(code);
  return entry == overrides.end() ? std::nullopt : std::optional(entry->second);
}

} // namespace

void override_capability(uint32_t code, std::optional<bool> present) {
  const std::lock_guard lock(guard);
  if (present)
    overrides[code] = *present;
  else
    overrides.erase(code);
}

void on_missing_library(std::function<void(const std::string &message)> take) {
  const std::lock_guard lock(guard);
  report = std::move(take);
  reported = false;
}

bool processor_has_capability(uint32_t code) {
  for (const known_code &known : known_codes)
    if (known.code == code)
      return processor_has(known);
  return false;
}

} // namespace vorn_host

using namespace vorn_host;

uint32_t cpucap_query(uint32_t code, void *answer) {
  std::optional<bool> present = overridden(code);
  if (!present)
    present = can_be_loaded(code);
  const uint32_t words[3] = {0, 0, present.value_or(false)};
  std::memcpy(answer, words, sizeof words);
  record(adopted_environment(), {.service = "cpucap_query",
                                 .text = {},
                                 .values = {number(code), int32_t{present.value_or(false)}},
                                 .source = {}});
  return !present;
}
