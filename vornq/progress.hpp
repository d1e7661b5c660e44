// A progress bar on standard error, when that is a terminal.
#pragma once

#include <cstdint>
#include <string_view>

namespace store {

class progress_bar {
public:
  // `steps` is the whole amount of work.
  explicit progress_bar(uint64_t steps);
  // Wipes the bar off the terminal.
  ~progress_bar();
  progress_bar(const progress_bar &) = delete;
  progress_bar &operator=(const progress_bar &) = delete;

  void show(std::string_view label, uint64_t steps_done);

private:
  uint64_t steps_;
  bool on_terminal_;
  uint64_t shown_ = ~uint64_t{0}; // per cent
};

} // namespace store
