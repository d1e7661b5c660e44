// The clock: the machine's steady one, or a script.
#include "host/state.hpp"

#include <atomic>
#include <chrono>
#include <deque>

namespace vorn_host {

namespace {

std::mutex script_guard;
std::deque<uint64_t> script;          // answers to come; the last one stays
std::atomic<bool> is_scripted{false}; // lets the usual clock do without the lock

std::optional<uint64_t> scripted_time() {
  const std::lock_guard lock(script_guard);
  if (script.empty())
    return std::nullopt;
  const uint64_t time = script.front();
  if (script.size() > 1)
    script.pop_front();
  return time;
}

uint64_t machine_time() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

} // namespace

void script_clock(std::vector<uint64_t> microseconds) {
  const std::lock_guard lock(script_guard);
  script.assign(microseconds.begin(), microseconds.end());
  is_scripted = !script.empty();
}

void set_clock(std::optional<uint64_t> microseconds) {
  script_clock(microseconds ? std::vector{*microseconds} : std::vector<uint64_t>{});
}

} // namespace vorn_host

using namespace vorn_host;

uint64_t host_clock_time64(void) {
  const std::optional<uint64_t> scripted = is_scripted ? scripted_time() : std::nullopt;
  const uint64_t time = scripted ? *scripted : machine_time();
  record(adopted_environment(), {.service = "host_clock_time64", .text = {}, .values = {time}, .source = {}});
  return time;
}
