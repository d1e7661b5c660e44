// A line on standard error that shows how far the work is, when standard error is a terminal.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace store {

class progress_bar {
public:
  progress_bar();
  progress_bar(const progress_bar &) = delete;

  struct state {
    std::string label;
    uint64_t done = 0;
    uint64_t of = 0; // 0 if not known
  };

  // Begins a piece of work.  The function returns its progress, and any thread may call it.  The line is shown after
  // the first second of the work.
  class work {
  public:
    work(progress_bar &bar, std::function<state()> at);
    ~work();
    work(const work &) = delete;

  private:
    progress_bar &bar_;
  };

  // Reports the load of a column within a piece of work.
  void loads(std::string_view column, uint64_t rows, uint64_t of);

  bool is_shown() const { return on_terminal_; }

  // Clears the line if it is shown.  A signal handler may call it.
  static void wipe();

private:
  void paint(const std::stop_token &stop);

  const bool on_terminal_;
  std::mutex guard_;
  std::condition_variable_any ended_;
  std::function<state()> at_;
  std::optional<state> loaded_; // while a column is loaded
  std::jthread painter_;
};

} // namespace store
