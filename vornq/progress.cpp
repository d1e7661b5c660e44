#include "vornq/progress.hpp"

#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

namespace store {

progress_bar::progress_bar(uint64_t whole) : steps(whole), on_terminal(isatty(STDERR_FILENO) == 1) {}

progress_bar::~progress_bar() {
  if (on_terminal)
    std::fputs("\r\033[K", stderr);
}

void progress_bar::show(std::string_view label, uint64_t steps_done) {
  const uint64_t percent = steps == 0 ? 100 : steps_done * 100 / steps;
  if (!on_terminal || percent == shown)
    return;
  shown = percent;
  // One column of the bar for every 2.5 %.
  fmt::print(stderr, "\r\033[K[{:<40}] {:3} %  {}", std::string(percent * 2 / 5, '#'), percent, label);
  std::fflush(stderr);
}

} // namespace store
