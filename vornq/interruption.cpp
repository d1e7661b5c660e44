#include "vornq/interruption.hpp"

#include <csignal>
#include <string_view>

#include <unistd.h>

#include "store/saved/replaced_file.hpp"
#include "vornq/progress.hpp"

namespace store {

namespace {

void end(int signal) {
  saved::temporary_file::remove_all();
  progress_bar::wipe();
  _exit(128 + signal);
}

// The program has read a mapped file after its new end.
void end_at_a_cut_file(int) {
  saved::temporary_file::remove_all();
  progress_bar::wipe();
  constexpr std::string_view message = "vornq: a saved table was cut, or cannot be read, while a query read it\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, message.data(), message.size());
  _exit(2);
}

} // namespace

void end_cleanly_at_signals() {
  const auto set = [](int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(signal, &action, nullptr);
  };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    set(signal, end);
  set(SIGBUS, end_at_a_cut_file);
  set(SIGXFSZ, SIG_IGN); // the call that writes reports a file that may not grow
}

} // namespace store
