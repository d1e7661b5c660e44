#include "vornq/progress.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "store/error.hpp"
#include "store/value/text_table.hpp"

namespace store {

namespace {

using namespace std::chrono_literals;

// A column of the bar for every 2.5 %.
std::string line_of(const progress_bar::state &at, std::chrono::steady_clock::duration since) {
  const std::string label = visible(shortened(at.label));
  if (at.of == 0)
    return fmt::format("{:.0f} s  {}", std::chrono::duration<double>(since).count(), label);
  const uint64_t percent = std::min<uint64_t>(100, at.done * 100 / at.of);
  return fmt::format("[{:<40}] {:3} %  {}", std::string(percent * 2 / 5, '#'), percent, label);
}

void write_to_terminal(std::string_view text) { static_cast<void>(!write(STDERR_FILENO, text.data(), text.size())); }

} // namespace

progress_bar::progress_bar() : on_terminal_(isatty(STDERR_FILENO) == 1) {}

void progress_bar::wipe() {
  if (isatty(STDERR_FILENO) == 1)
    write_to_terminal("\r\033[K");
}

progress_bar::work::work(progress_bar &bar, std::function<state()> at) : bar_(bar) {
  if (!bar_.on_terminal_)
    return;
  bar_.at_ = std::move(at);
  bar_.painter_ = std::jthread([&bar](const std::stop_token &stop) { bar.paint(stop); });
}

progress_bar::work::~work() {
  if (bar_.on_terminal_)
    bar_.painter_ = {}; // requests its stop and waits for it
}

void progress_bar::loads(std::string_view column, uint64_t rows, uint64_t of) {
  if (!on_terminal_)
    return;
  const std::lock_guard lock(guard_);
  if (rows >= of)
    loaded_.reset();
  else
    loaded_ = {std::string(column), rows, of};
}

void progress_bar::paint(const std::stop_token &stop) {
  const auto start = std::chrono::steady_clock::now();
  bool is_painted = false;
  std::unique_lock lock(guard_);
  for (auto next = start + 1s; !ended_.wait_until(lock, stop, next, [] { return false; }) && !stop.stop_requested();
       next += 100ms) {
    const state shown = loaded_ ? *loaded_ : at_();
    write_to_terminal("\r\033[K" + line_of(shown, std::chrono::steady_clock::now() - start));
    is_painted = true;
  }
  if (is_painted)
    wipe();
}

} // namespace store
