// What the steps of a plan do: the figures of each, and the entry points and kernels that it calls.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/encode/column.hpp"

namespace store {

// Threads add to a step at once.
struct plan_step {
  plan_step(std::string called, std::vector<const column *> columns)
      : name(std::move(called)), read(std::move(columns)) {}

  // A step that takes all from the one before it has no batches.
  void count_batch(size_t batch);

  std::string name;
  std::vector<const column *> read;  // of each batch
  std::atomic<uint64_t> batches = 0; // that the library was called for
  std::atomic<uint64_t> skipped = 0; // that it was not called for: the zone decides, or no row is wanted
  std::atomic<uint64_t> rows_in = 0;
  std::atomic<uint64_t> rows_out = 0;
  std::atomic<uint64_t> bytes = 0; // of these columns as stored, and of a table that is built
  std::atomic<int64_t> nanoseconds = 0;
  std::set<std::pair<std::string, std::string>> calls; // entry points with kernels
};

class explanation {
public:
  // In the order of the plan.
  plan_step &begin_step(std::string name, std::vector<const column *> read) {
    return all_.emplace_back(std::move(name), std::move(read));
  }
  const std::deque<plan_step> &steps() const { return all_; }

  // The calls of the same steps.
  void take_calls(const explanation &same) {
    for (size_t i = 0; i < all_.size(); ++i)
      all_[i].calls = same.all_[i].calls;
  }

  // Adds a call to the step in which the calling thread is.
  void add_call(std::string_view entry, std::string_view kernel);

private:
  std::deque<plan_step> all_;
  std::mutex guard_; // of the calls
};

// Counts the time of the calling thread for a step, and not for the step around it.  With null it counts for no step.
// Without an explanation this is one test of a pointer.
class step_timer {
public:
  explicit step_timer(plan_step *entered) : around_(current) { go_to(entered); }
  ~step_timer() { go_to(around_); }
  step_timer(const step_timer &) = delete;

  static plan_step *in() { return current; }

private:
  using clock = std::chrono::steady_clock;

  static void go_to(plan_step *next) {
    if (next != current)
      change_to(next);
  }
  static void change_to(plan_step *next);

  static thread_local plan_step *current;
  static thread_local clock::time_point since;
  plan_step *around_;
};

} // namespace store
