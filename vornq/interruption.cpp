#include "vornq/interruption.hpp"

#include <csignal>

#include <unistd.h>

#include "store/saved/replaced_file.hpp"
#include "vornq/progress.hpp"

namespace store {

namespace {

void end(int signal) {
  saved::replaced_file::remove_unfinished();
  progress_bar::wipe();
  _exit(128 + signal);
}

} // namespace

void end_cleanly_at_signals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    action.sa_handler = end;
    sigaction(signal, &action, nullptr);
  }
}

} // namespace store
