#include "vornq/progress.hpp"

#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

namespace store {

progress_bar::progress_bar(uint64_t steps) : steps_(steps), on_terminal_(isatty(STDERR_FILENO) == 1) {}

progress_bar::~progress_bar() {
  if (on_terminal_)
    std::fputs("\r\033[K", stderr);
}

void progress_bar::show(std::string_view label, uint64_t steps_done) {
  const uint64_t percent = steps_ == 0 ? 100 : steps_done * 100 / steps_;
  if (!on_terminal_ || percent == shown_)
    return;
  shown_ = percent;
  // One column of the bar for every 2.5 %.
  fmt::print(stderr, "\r\033[K[{:<40}] {:3} %  {}", std::string(percent * 2 / 5, '#'), percent, label);
  std::fflush(stderr);
}

} // namespace store
