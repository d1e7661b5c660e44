// The metrics of an operator, for EXPLAIN ANALYZE.  Several threads may add to them at once.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace store::exec {

class operator_metrics {
public:
  explicit operator_metrics(std::string_view name) : name_(name) {}

  const std::string &name() const { return name_; }

  // An entry point of the library that the operator called, and the kernel that ran.
  void add_call(std::string_view entry, std::string_view kernel) {
    const std::lock_guard lock(guard_);
    calls_.emplace(entry, kernel);
  }
  std::set<std::pair<std::string, std::string>> calls() const {
    const std::lock_guard lock(guard_);
    return calls_;
  }

  std::atomic<uint64_t> rows = 0; // rows that the operator gave
  std::atomic<uint64_t> chunks = 0;
  std::atomic<uint64_t> row_groups = 0; // scans: row groups that were read
  std::atomic<uint64_t> skipped = 0;    // scans: row groups that were not read
  std::atomic<uint64_t> bytes = 0;      // scans: stored bytes of the read columns; joins: bytes of the built side
  std::atomic<int64_t> nanoseconds = 0; // time of all threads, without other operators

private:
  std::string name_;
  mutable std::mutex guard_; // of the calls
  std::set<std::pair<std::string, std::string>> calls_;
};

// Counts the time of the calling thread for one operator, and stops the time of the operator that called it.  Null
// counts for no operator.
class metrics_timer {
public:
  explicit metrics_timer(operator_metrics *entered) : around_(current) { go_to(entered); }
  ~metrics_timer() { go_to(around_); }
  metrics_timer(const metrics_timer &) = delete;

  static operator_metrics *in() { return current; }

private:
  using clock = std::chrono::steady_clock;

  static void go_to(operator_metrics *next) {
    if (next != current)
      change_to(next);
  }
  static void change_to(operator_metrics *next);

  static thread_local operator_metrics *current;
  static thread_local clock::time_point since;
  operator_metrics *around_;
};

} // namespace store::exec
