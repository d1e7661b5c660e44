// The ends of batches that threads work on at once, each in its turn.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace store {

class batch_turns {
public:
  // The batches begin with this one.
  explicit batch_turns(size_t first) : next(first) {}

  // Does the work of a batch after the batches before it are done; nothing when one of them was given up.
  template <class Work>
  void take(size_t batch, Work work) {
    std::unique_lock lock(guard);
    changed.wait(lock, [&] { return next == batch || given_up; });
    if (given_up)
      return;
    work();
    ++next;
    changed.notify_all();
  }

  void give_up() {
    const std::lock_guard lock(guard);
    given_up = true;
    changed.notify_all();
  }

private:
  std::mutex guard;
  std::condition_variable changed;
  size_t next;
  bool given_up = false;
};

} // namespace store
